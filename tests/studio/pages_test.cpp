// Studio opens a multi-page TIFF at the page the user picks, and says in its
// status bar which page it is, how the samples were converted and where the
// calibration came from.
#include "studiofixture.h"

#include "tiffwriter.h"

#include <QApplication>
#include <QInputDialog>
#include <QStatusBar>
#include <QTimer>

TEST_F(StudioTest, MultiPageTiffOpensTheChosenPageAndSaysSo)
{
    std::vector<tifftest::Page> pages(3);
    for (int i = 0; i < 3; ++i) {
        pages[i].image = tifftest::Discs(i + 2, CV_16U, 3000, 500);
        pages[i].bits = 12;
        pages[i].xResolution = 20000; // pixels per cm: 0.5 µm
        pages[i].resolutionUnit = 3;
    }
    const QString path = folder.filePath("stack.tif");
    ASSERT_TRUE(tifftest::Write(path, pages));

    // The page chooser: page 2.
    bool asked = false;
    QTimer::singleShot(0, [&asked] {
        auto* dialog = qobject_cast<QInputDialog*>(QApplication::activeModalWidget());
        ASSERT_NE(dialog, nullptr);
        asked = dialog->labelText().contains("3 pages");
        dialog->setIntValue(2);
        dialog->accept();
    });
    ASSERT_TRUE(window->OpenImage(path));
    EXPECT_TRUE(asked);
    EXPECT_TRUE(window->windowTitle().contains("stack.tif [page 2 of 3]"))
        << window->windowTitle().toStdString();
    const QString status = window->statusBar()->currentMessage();
    EXPECT_TRUE(status.contains("page 2 of 3")) << status.toStdString();
    EXPECT_TRUE(status.contains("12-bit range 0-4095 to 0-255 (file: BitsPerSample 12)"))
        << status.toStdString();
    EXPECT_TRUE(status.contains("µm/px (file: resolution tags)")) << status.toStdString();

    // A name with the page in it opens that page without asking.
    ASSERT_TRUE(window->OpenImage(path + "[3]"));
    EXPECT_TRUE(window->windowTitle().contains("[page 3 of 3]"));
}
