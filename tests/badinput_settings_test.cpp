// A drawing-properties file that is corrupt or cannot be read: loading takes
// what the conversions give (default font, invalid colour, width 0), no crash.

#include "autocount/drawproperty/targetdrawpropertymanager.h"
#include "host/hostpaths.h"

#include <QDir>
#include <QFile>
#include <QFont>
#include <QTemporaryDir>

#include <gtest/gtest.h>

namespace {

TEST(BadInputSettings, CorruptOrUnreadableFilesNeverCrashTheLoading)
{
    QTemporaryDir dir;
    ASSERT_TRUE(dir.isValid());
    HostPaths::SetSettingsDirectory(dir.path());
    const QString path = HostPaths::SettingsPath("autocount");
    const auto load = [&](const QByteArray& bytes) { // a null array writes nothing
        if (!bytes.isNull()) {
            QFile file(path);
            EXPECT_TRUE(file.open(QIODevice::WriteOnly | QIODevice::Truncate));
            file.write(bytes);
        }
        TargetDrawPropertyManager manager;
        manager.Init();
        return manager.GetTargetDrawProperty();
    };
    QByteArray garbage;
    for (int k = 0; k < 4096; ++k)
        garbage.append(static_cast<char>((k * 131 + 7) & 0xff));
    for (const QByteArray& bytes : {garbage, QByteArray("")}) {
        const TARGET_DRAW_PROPERTY p = load(bytes);
        EXPECT_TRUE(p.font == QFont() && !p.fontColor.isValid() && !p.targetColor.isValid() &&
                    p.contourWidth == 0);
    }
    TARGET_DRAW_PROPERTY p = load("[Target]\nFont=12345\nFontColor=not a colour\n"
                                  "TargetColor=#00ff00\nContourWidth=wide\n");
    EXPECT_FALSE(p.fontColor.isValid());
    EXPECT_EQ(p.targetColor, QColor(0, 255, 0)); // a colour name converts
    EXPECT_EQ(p.contourWidth, 0);
    EXPECT_EQ(load("[Target]\nContourWidth=-2147483648\n").contourWidth, -2147483647 - 1);
    // Serialised variants cut off after their type word; a width too large for an int.
    load("[Target]\nFont=@Variant(\\0\\0\\0@)\nFontColor=@Variant(\\0\\0\\0\\x43\\x1)\n"
         "TargetColor=@Variant(\\0\\0\\0\\x43\\x1\\xff\\xff\\0\\0)\n"
         "ContourWidth=@Variant(\\0\\0\\0\\x2)\n");
    load("[Target]\nContourWidth=99999999999\n");
    // A folder where the file should be: it exists, so no defaults are
    // written, but nothing can be read from it.
    ASSERT_TRUE(QFile::remove(path) && QDir().mkpath(path));
    p = load(QByteArray());
    EXPECT_TRUE(p.font == QFont() && !p.fontColor.isValid() && p.contourWidth == 0);
    HostPaths::SetSettingsDirectory(QString());
}

} // namespace
