// The drawing properties of targets and their settings file.

#include "autocount/drawproperty/targetdrawpropertymanager.h"
#include "host/hostpaths.h"

#include <QFile>
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
    ASSERT_FALSE(QFileInfo::exists(path_));
    TargetDrawPropertyManager manager;
    manager.Init();
    EXPECT_EQ(manager.GetSettingsPath(), path_);
    ExpectDefaults(manager.GetTargetDrawProperty());

    ASSERT_TRUE(QFileInfo::exists(path_));
    QSettings file(path_, QSettings::IniFormat);
    EXPECT_EQ(file.childGroups(), QStringList{"Target"});
    file.beginGroup("Target");
    EXPECT_EQ(file.childKeys().size(), 4);
    EXPECT_EQ(file.value("Font").value<QFont>().family(), "Arial");
    EXPECT_EQ(file.value("FontColor").value<QColor>(), QColor(0, 255, 0));
    EXPECT_EQ(file.value("TargetColor").value<QColor>(), QColor(0, 0, 255));
    EXPECT_EQ(file.value("ContourWidth").toInt(), 1);
}

TEST_F(TargetDrawProperties, AMissingKeyDoesNotFallBackToItsDefault)
{
    {
        QSettings file(path_, QSettings::IniFormat);
        file.setValue("Target/ContourWidth", 3);
    }
    TargetDrawPropertyManager manager;
    manager.Init();
    const TARGET_DRAW_PROPERTY p = manager.GetTargetDrawProperty();
    EXPECT_EQ(p.font, QFont());
    EXPECT_NE(p.font.family(), "Arial");
    EXPECT_FALSE(p.fontColor.isValid());
    EXPECT_FALSE(p.targetColor.isValid());
    EXPECT_EQ(p.contourWidth, 3);

    // Loading alone does not rewrite the file.
    QSettings file(path_, QSettings::IniFormat);
    EXPECT_EQ(file.allKeys(), QStringList{"Target/ContourWidth"});
}

TEST_F(TargetDrawProperties, ColoursWrittenAsTextAreConverted)
{
    {
        QSettings file(path_, QSettings::IniFormat);
        file.setValue("Target/FontColor", "#ff0000");
        file.setValue("Target/TargetColor", "no colour");
    }
    TargetDrawPropertyManager manager;
    manager.Init();
    EXPECT_EQ(manager.GetTargetDrawProperty().fontColor, QColor(255, 0, 0));
    EXPECT_FALSE(manager.GetTargetDrawProperty().targetColor.isValid());
    EXPECT_EQ(manager.GetTargetDrawProperty().contourWidth, 0);
}

TEST_F(TargetDrawProperties, EveryChangeIsSavedAndReadBackByTheNextStart)
{
    TargetDrawPropertyManager first;
    first.Init();
    QFont font("Courier");
    font.setPointSize(17);
    font.setBold(true);
    first.SetTargetDrawProperty({font, QColor(1, 2, 3, 4), QColor(250, 128, 0), 5});

    TargetDrawPropertyManager second;
    second.Init();
    const TARGET_DRAW_PROPERTY p = second.GetTargetDrawProperty();
    EXPECT_EQ(p.font.family(), "Courier");
    EXPECT_EQ(p.font.pointSize(), 17);
    EXPECT_TRUE(p.font.bold());
    EXPECT_EQ(p.fontColor, QColor(1, 2, 3, 4));
    EXPECT_EQ(p.targetColor, QColor(250, 128, 0));
    EXPECT_EQ(p.contourWidth, 5);
}

TEST_F(TargetDrawProperties, ResetRewritesTheFileWithTheDefaults)
{
    TargetDrawPropertyManager manager;
    manager.Init();
    manager.SetTargetDrawProperty({QFont("Courier"), QColor(Qt::red), QColor(Qt::yellow), 9});
    manager.SetDefaultTargetDrawProperty();
    ExpectDefaults(manager.GetTargetDrawProperty());

    TargetDrawPropertyManager reader;
    reader.Init();
    ExpectDefaults(reader.GetTargetDrawProperty());
}

TEST_F(TargetDrawProperties, AnInitialisedManagerIgnoresLaterFileEdits)
{
    TargetDrawPropertyManager manager;
    manager.Init();
    {
        QSettings file(path_, QSettings::IniFormat);
        file.setValue("Target/ContourWidth", 8);
    }
    EXPECT_EQ(manager.GetTargetDrawProperty().contourWidth, 1);
}

} // namespace
