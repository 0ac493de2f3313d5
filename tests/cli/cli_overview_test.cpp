// The batch overview page, from the built program: a thumbnail per image, the
// image far from the batch flagged, and the page as a real browser loads it.

#include "clirun.h"

#include <QProcess>
#include <QStandardPaths>

TEST_F(CliEndToEnd, TheOverviewShowsEveryImageAndFlagsTheOddOne)
{
    // Counts 4, 5, 6, 5 and 16: the median is 5, the median absolute deviation
    // 1, so 16 lies 11 / 1.4826 = 7.4 scaled deviations away, beyond 3.
    const int discs[] = {4, 5, 6, 5, 16};
    for (int i = 0; i < 5; ++i)
        Write(QStringLiteral("batch/img%1.png").arg(i + 1),
              syntheticcells::Render(Discs(discs[i], 0, 300 + i)));
    const Outcome o = Run({"--overview", "overview.html", "--annotated", "{stem}.png", "batch"});
    ASSERT_EQ(o.exitCode, 0) << o.err.toStdString();
    const QString html = QString::fromUtf8(Read("overview.html"));
    EXPECT_EQ(html.count("data:image/jpeg;base64,"), 5);
    EXPECT_EQ(html.count("class=\"image flagged\""), 1);
    const int flagged = html.indexOf("class=\"image flagged\"");
    EXPECT_TRUE(html.mid(flagged, 300).contains("img5.png"))
        << html.mid(flagged, 300).toStdString();
    EXPECT_TRUE(html.contains("count 7.4 deviations from the median"));
    EXPECT_FALSE(html.contains("http://") || html.contains("https://")); // self-contained

    // A real browser loads it and finds every picture.
    const QString chromium = QStandardPaths::findExecutable("chromium");
    if (chromium.isEmpty())
        GTEST_SKIP() << "chromium is not installed";
    QProcess browser;
    browser.start(chromium,
                  {"--headless", "--no-sandbox", "--disable-gpu", "--disable-background-networking",
                   "--disable-component-update", "--no-first-run", "--disable-sync",
                   "--user-data-dir=" + Path("chromium-profile"), "--dump-dom",
                   "file://" + Path("overview.html")});
    ASSERT_TRUE(browser.waitForFinished(120000));
    const QString dom = QString::fromUtf8(browser.readAllStandardOutput());
    EXPECT_EQ(dom.count("<img"), 5)
        << QString::fromUtf8(browser.readAllStandardError()).toStdString();
    EXPECT_TRUE(dom.contains("Batch overview"));
}
