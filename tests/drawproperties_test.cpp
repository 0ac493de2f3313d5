// The drawing properties of targets and their settings file.

#include "autocount/drawproperty/targetdrawpropertymanager.h"
#include "host/hostpaths.h"

#include <QFileInfo>
#include <QSettings>
#include <QTemporaryDir>

#include <gtest/gtest.h>

namespace {

class TargetDrawProperties : public ::testing::Test
{
protected:
    void SetUp() override
    {
        ASSERT_TRUE(dir_.isValid());
        HostPaths::SetSettingsDirectory(dir_.path());
        path_ = HostPaths::SettingsPath("autocount");
    }
    void TearDown() override { HostPaths::SetSettingsDirectory(QString()); }

    QTemporaryDir dir_;
    QString path_;
};

void ExpectDefaults(const TARGET_DRAW_PROPERTY& p)
{
    EXPECT_EQ(p.font.family(), "Arial");
    EXPECT_EQ(p.fontColor, QColor(0, 255, 0, 255));
    EXPECT_EQ(p.targetColor, QColor(0, 0, 255, 255));
    EXPECT_EQ(p.contourWidth, 1);
}

TEST_F(TargetDrawProperties, FirstStartWritesTheDefaultsToTheAutocountFile)
{
    TargetDrawPropertyManager manager;
    manager.Init();
    EXPECT_EQ(manager.GetSettingsPath(), path_);
    ExpectDefaults(manager.GetTargetDrawProperty());

    ASSERT_TRUE(QFileInfo::exists(path_));
    QSettings file(path_, QSettings::IniFormat);
    EXPECT_EQ(file.value("Target/TargetColor").value<QColor>(), QColor(0, 0, 255));
}

TEST_F(TargetDrawProperties, AMissingKeyDoesNotFallBackToItsDefault)
{
    {
        QSettings file(path_, QSettings::IniFormat);
        file.setValue("Target/ContourWidth", 3);
        file.setValue("Target/FontColor", "#ff0000"); // text is converted
    }
    TargetDrawPropertyManager manager;
    manager.Init();
    const TARGET_DRAW_PROPERTY p = manager.GetTargetDrawProperty();
    EXPECT_EQ(p.font, QFont());
    EXPECT_EQ(p.fontColor, QColor(255, 0, 0));
    EXPECT_FALSE(p.targetColor.isValid());
    EXPECT_EQ(p.contourWidth, 3);
}

TEST_F(TargetDrawProperties, ChangesAndTheResetAreSavedForTheNextStart)
{
    TargetDrawPropertyManager first;
    first.Init();
    QFont font("Courier");
    font.setPointSize(17);
    first.SetTargetDrawProperty({font, QColor(1, 2, 3, 4), QColor(250, 128, 0), 5});

    TargetDrawPropertyManager second;
    second.Init();
    const TARGET_DRAW_PROPERTY p = second.GetTargetDrawProperty();
    EXPECT_EQ(p.font.pointSize(), 17);
    EXPECT_EQ(p.fontColor, QColor(1, 2, 3, 4));
    EXPECT_EQ(p.targetColor, QColor(250, 128, 0));
    EXPECT_EQ(p.contourWidth, 5);

    first.SetDefaultTargetDrawProperty();
    TargetDrawPropertyManager third;
    third.Init();
    ExpectDefaults(third.GetTargetDrawProperty());
}

} // namespace
