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
    // automatic cut and no speck floor.
    const InputImage input = ReadImage(imagePath);
    ASSERT_TRUE(input.ok()) << input.error.toStdString();
    CountSettings settings;
    settings.mode = SegmentMode::Bright;
    settings.cut = Separation::Auto;
    settings.speckFloor = 0;
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
