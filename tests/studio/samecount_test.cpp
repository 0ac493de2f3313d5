// The studio's step-by-step count and the engine's count of the same file
// with the same settings give the same objects and the same picture.
#include "studiofixture.h"

#include "controllerresult.h"
#include "discimage.h"
#include "imageinput.h"
#include "imageresult.h"
#include "picture.h"

#include "autocount/autocountmanager.h"

#include <QJsonDocument>
#include <QTest>

TEST_F(StudioTest, StudioAndTheEngineCountTheSameFileAlike)
{
    // The studio: whole image, bright objects, the automatic cut, default filters.
    AutoCountManager* manager = Session()->Manager();
    manager->SetDefaultDataRange();
    Session()->SetRegionMode(AutoCountManager::REGION_WHOLE_IMAGE);
    Session()->Next();
    Session()->SetSegmentMode(AutoCountManager::SEGMENT_AUTO_BRIGHT);
    Session()->Next();
    ASSERT_TRUE(Session()->StartAutoCut());
    ASSERT_TRUE(WaitForAutoCut());
    Session()->Next();
    ASSERT_EQ(Session()->Step(), AutoCountManager::STEP_RESULTS);
    const countrun::CountResult studio = countrun::FromController(*manager);

    // The engine, from the file, with the same choices: the module's own
    // threshold (no preparation) and automatic cut, no speck floor, and no
    // measurements in the colour planes (the controller has none).
    const InputImage input = ReadImage(imagePath);
    ASSERT_TRUE(input.ok()) << input.error.toStdString();
    CountSettings settings;
    settings.mode = SegmentMode::Bright;
    settings.cut = Separation::Auto;
    settings.speckFloor = 0;
    settings.preparation.clear();
    settings.measureChannels = false;
    settings.scale = studio.scale;
    settings.unit = studio.unit;
    const countrun::CountResult engine = countrun::Count(input.image, settings);

    // Every disc, the touching pair cut in two.
    EXPECT_EQ(engine.Count(), discimage::kSingleDiscsInside + discimage::kDiscsOutside + 2);
    EXPECT_EQ(QJsonDocument(imageresult::ToJson(countrun::Summarise("f", studio))).toJson(),
              QJsonDocument(imageresult::ToJson(countrun::Summarise("f", engine))).toJson());
    EXPECT_EQ(studio.core.validContours, engine.core.validContours);
    const TARGET_DRAW_PROPERTY look = manager->GetTargetDrawProperty();
    EXPECT_EQ(picture::Render(studio, look), picture::Render(engine, look));
}

TEST_F(StudioTest, TheDistanceCutRunsOnTheEnginesWorkerAndCountsAsTheEngineDoes)
{
    AutoCountManager* manager = Session()->Manager();
    manager->SetDefaultDataRange();
    Session()->SetRegionMode(AutoCountManager::REGION_WHOLE_IMAGE);
    Session()->Next();
    Session()->SetSegmentMode(AutoCountManager::SEGMENT_AUTO_BRIGHT);
    Session()->Next();
    // Started from the panel's first button; the other controls are locked
    // until it ends, and a second start is refused.
    ClickButton("distanceCutButton");
    EXPECT_TRUE(Session()->IsAutoCutRunning());
    EXPECT_FALSE(Session()->StartDistanceCut());
    ASSERT_TRUE(WaitForAutoCut());
    Session()->Next();
    ASSERT_EQ(Session()->Step(), AutoCountManager::STEP_RESULTS);
    const countrun::CountResult studio = countrun::FromController(*manager);

    CountSettings settings;
    settings.mode = SegmentMode::Bright;
    settings.cut = Separation::Distance;
    settings.speckFloor = 0; // the studio's results keep every object
    settings.scale = studio.scale;
    settings.unit = studio.unit;
    const countrun::CountResult engine = countrun::Count(ReadImage(imagePath).image, settings);
    EXPECT_EQ(engine.Count(), discimage::kSingleDiscsInside + discimage::kDiscsOutside + 2);
    EXPECT_EQ(studio.core.validContours, engine.core.validContours);
}

TEST_F(StudioTest, AStoppedDistanceCutLeavesTheBinaryImageAsItWas)
{
    Session()->Next();
    Session()->SetSegmentMode(AutoCountManager::SEGMENT_AUTO_BRIGHT);
    Session()->Next();
    const cv::Mat before = Session()->Manager()->GetBinaryImage().clone();
    ASSERT_TRUE(Session()->StartDistanceCut());
    Session()->CancelCut();
    EXPECT_FALSE(Session()->IsAutoCutRunning());
    QTest::qWait(200); // a late report of the stopped cut must change nothing
    EXPECT_EQ(cv::countNonZero(Session()->Manager()->GetBinaryImage() != before), 0);
}

TEST_F(StudioTest, TheAutomaticCutShowsItIsBusyCanBeStoppedAndCutsAsTheModuleDoes)
{
    Session()->SetRegionMode(AutoCountManager::REGION_WHOLE_IMAGE);
    Session()->Next();
    Session()->SetSegmentMode(AutoCountManager::SEGMENT_AUTO_BRIGHT);
    Session()->Next();
    const cv::Mat before = Session()->Manager()->GetBinaryImage().clone();
    cv::Mat expected;
    ASSERT_EQ(AlgAutoCut(before.clone(), expected), 0);
    ASSERT_GT(cv::countNonZero(expected != before), 0) << "the pair is cut";

    // Started, it shows a busy bar and a Stop button; Stop leaves the mask.
    ClickButton("autoCutButton");
    ASSERT_TRUE(Session()->IsAutoCutRunning());
    EXPECT_TRUE(window->findChild<QWidget*>("autoCutBusy")->isVisible());
    ClickButton("cancelCutButton");
    EXPECT_FALSE(Session()->IsAutoCutRunning());
    EXPECT_TRUE(window->findChild<QWidget*>("autoCutButton")->isEnabled());
    EXPECT_EQ(cv::countNonZero(Session()->Manager()->GetBinaryImage() != before), 0);

    // Run again to its end: the module's cut of the mask, and undoable.
    ClickButton("autoCutButton");
    ASSERT_TRUE(WaitForAutoCut());
    EXPECT_EQ(cv::countNonZero(Session()->Manager()->GetBinaryImage() != expected), 0);
    EXPECT_FALSE(window->findChild<QWidget*>("cancelCutButton")->isVisible());
}
