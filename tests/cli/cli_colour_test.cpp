// Colour images from the command line: the colour words, the automatic
// choice of plane and polarity, and nuclei in stained tissue.

#include "clirun.h"
#include "stainedtissue.h"
#include "touchingcells.h"

#include <opencv2/imgproc.hpp>

namespace {

void Row(cv::Mat& image, int count, int y, const cv::Scalar& colour)
{
    for (int i = 0; i < count; ++i)
        cv::circle(image, cv::Point(40 + 60 * i, y), 14, colour, cv::FILLED);
}

} // namespace

TEST_F(CliEndToEnd, ColourWordsThresholdThePlanesTheyName)
{
    // Three discs bright in red only, five in blue only.
    cv::Mat image(200, 400, CV_8UC3, cv::Scalar::all(0));
    Row(image, 3, 50, cv::Scalar(0, 0, 200));
    Row(image, 5, 140, cv::Scalar(200, 0, 0));
    const QString path = Write("colours.png", image);
    const QStringList band{"--mode", "manual", "--low", "100", "--high", "255"};
    EXPECT_EQ(Count(band + QStringList{"--channel", "red", path}), 3);
    EXPECT_EQ(Count(band + QStringList{"--channel", "blue", path}), 5);
}

TEST_F(CliEndToEnd, TheAutomaticModeChoosesPolarityAndSaysWhat)
{
    // Bright discs on a dark ground, counted with no mode given.
    cv::Mat image(200, 400, CV_8UC3, cv::Scalar::all(30));
    Row(image, 6, 50, cv::Scalar::all(200));
    Row(image, 4, 140, cv::Scalar::all(200));
    const QString path = Write("bright.png", image);
    const Outcome o = Run({"-v", "--json", "--save-settings", "used.json", path});
    ASSERT_EQ(o.exitCode, 0) << o.err.toStdString();
    const QJsonObject result = ImagesOf(o.out).at(0).toObject();
    EXPECT_EQ(result.value("count").toInt(), 10);
    const QJsonObject chosen = result.value("segmentation").toObject();
    EXPECT_EQ(chosen.value("plane").toString(), "grey");
    EXPECT_EQ(chosen.value("polarity").toString(), "bright");
    EXPECT_TRUE(o.err.contains("thresholded the grey plane, objects bright"))
        << o.err.toStdString();
    EXPECT_TRUE(Read("used.json").contains("\"mode\": \"auto\""));
    // A settings file that names a polarity keeps it: dark objects here are
    // the gaps, which touch the border and are dropped.
    QFile old(Path("dark.json"));
    ASSERT_TRUE(old.open(QIODevice::WriteOnly));
    old.write("{\"mode\": \"dark\"}");
    old.close();
    EXPECT_EQ(Count({"--settings", Path("dark.json"), path}), 0);
}

TEST_F(CliEndToEnd, NucleiOfStainedTissueAreCountedOnTheirStain)
{
    stainedtissue::SceneParams params;
    params.seed = 900;
    const stainedtissue::Scene scene = stainedtissue::MakeScene(params);
    const QString image = Write("tissue.png", scene.image);
    const Outcome o = Run({"--stain", "hematoxylin", "--labels", "labels.png", "--annotated",
                           "tissue-counted.png", image});
    ASSERT_EQ(o.exitCode, 0) << o.err.toStdString();
    cv::Mat labels = cv::imread(Path("labels.png").toStdString(), cv::IMREAD_UNCHANGED);
    ASSERT_FALSE(labels.empty());
    labels.convertTo(labels, CV_32S);
    const touchingcells::MatchScore score = touchingcells::Score(scene.labels, labels);
    EXPECT_GE(score.f1, 0.95);
    EXPECT_LE(std::abs(score.countError), 0.05);
    // The picture of the documentation comes from this run.
    const QByteArray pictures = qgetenv("AUTOCOUNT_PICTURES");
    if (!pictures.isEmpty()) {
        const QString target =
            QDir(QString::fromLocal8Bit(pictures)).filePath("tissue-counted.png");
        QFile::remove(target);
        EXPECT_TRUE(QFile::copy(Path("tissue-counted.png"), target));
    }
}
