// A drawing-properties file that is corrupt or cannot be read: loading
// yields what the conversions give for the values found (a default font, an
// invalid colour, width 0 for anything unreadable) and never crashes.

#include "autocount/drawproperty/targetdrawpropertymanager.h"
#include "host/hostpaths.h"

#include <QDir>
#include <QFile>
#include <QFont>
#include <QSettings>
#include <QTemporaryDir>

#include <gtest/gtest.h>

namespace {

class BadInputSettings : public ::testing::Test
{
protected:
    void SetUp() override
    {
        ASSERT_TRUE(dir_.isValid());
        HostPaths::SetSettingsDirectory(dir_.path());
        path_ = HostPaths::SettingsPath("autocount");
    }
    void TearDown() override { HostPaths::SetSettingsDirectory(QString()); }

    void Write(const QByteArray& bytes)
    {
        QFile file(path_);
        ASSERT_TRUE(file.open(QIODevice::WriteOnly | QIODevice::Truncate));
        file.write(bytes);
    }
    TARGET_DRAW_PROPERTY Load()
    {
        TargetDrawPropertyManager manager;
        manager.Init();
        return manager.GetTargetDrawProperty();
    }
    // What Qt's conversions make of the file's values, read independently.
    void ExpectConversionsOfTheFile(const TARGET_DRAW_PROPERTY& p)
    {
        const QSettings file(path_, QSettings::IniFormat);
        EXPECT_EQ(p.font, file.value("Target/Font").value<QFont>());
        EXPECT_EQ(p.fontColor, file.value("Target/FontColor").value<QColor>());
        EXPECT_EQ(p.targetColor, file.value("Target/TargetColor").value<QColor>());
        EXPECT_EQ(p.contourWidth, file.value("Target/ContourWidth").toInt());
    }
    static void ExpectNothingRead(const TARGET_DRAW_PROPERTY& p)
    {
        EXPECT_EQ(p.font, QFont());
        EXPECT_FALSE(p.fontColor.isValid());
        EXPECT_FALSE(p.targetColor.isValid());
        EXPECT_EQ(p.contourWidth, 0);
    }

    QTemporaryDir dir_;
    QString path_;
};

TEST_F(BadInputSettings, BinaryGarbageReadsAsNoValues)
{
    QByteArray garbage;
    for (int k = 0; k < 4096; ++k)
        garbage.append(static_cast<char>((k * 131 + 7) & 0xff));
    Write(garbage);
    ExpectNothingRead(Load());
}

TEST_F(BadInputSettings, EmptyFileReadsAsNoValues)
{
    Write(QByteArray());
    ExpectNothingRead(Load());
}

TEST_F(BadInputSettings, TruncatedVariantsReadAsNoValues)
{
    // Serialised font and colour variants cut off after their type word.
    Write("[Target]\n"
          "Font=@Variant(\\0\\0\\0@)\n"
          "FontColor=@Variant(\\0\\0\\0\\x43\\x1)\n"
          "TargetColor=@Variant(\\0\\0\\0\\x43\\x1\\xff\\xff\\0\\0)\n"
          "ContourWidth=@Variant(\\0\\0\\0\\x2)\n");
    // Whatever the stream reader makes of the cut-off data is taken as it is.
    ExpectConversionsOfTheFile(Load());
}

TEST_F(BadInputSettings, WrongKindsOfValuesConvertAsQtConvertsThem)
{
    Write("[Target]\n"
          "Font=12345\n"
          "FontColor=not a colour\n"
          "TargetColor=#00ff00\n"
          "ContourWidth=wide\n");
    const TARGET_DRAW_PROPERTY p = Load();
    EXPECT_FALSE(p.fontColor.isValid());
    EXPECT_EQ(p.targetColor, QColor(0, 255, 0)); // a colour name converts
    EXPECT_EQ(p.contourWidth, 0);
}

TEST_F(BadInputSettings, ExtremeWidthsAreTakenAsTheConversionGivesThem)
{
    Write("[Target]\nContourWidth=-2147483648\n");
    EXPECT_EQ(Load().contourWidth, -2147483647 - 1);
    // Too large for an int: whatever the conversion gives, no crash.
    Write("[Target]\nContourWidth=99999999999\n");
    ExpectConversionsOfTheFile(Load());
}

TEST_F(BadInputSettings, UnreadablePathReadsAsNoValues)
{
    // A folder where the file should be: it exists, so no defaults are
    // written, but nothing can be read from it.
    ASSERT_TRUE(QDir().mkpath(path_));
    ExpectNothingRead(Load());
}

} // namespace
