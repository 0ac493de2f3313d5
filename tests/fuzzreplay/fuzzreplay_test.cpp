// Every input kept under fuzz/corpus/<target>/ and fuzz/regressions/<target>/
// runs through its target once: no crash, no exception, every promise kept.

#include "fuzztargets.h"

#include <QDir>
#include <QFile>

#include <gtest/gtest.h>

namespace {

TEST(FuzzReplay, EveryKeptInputKeepsTheContract)
{
    for (const fuzzing::Target& target : fuzzing::Targets())
        for (const std::string folder : {"corpus", "regressions"}) {
            const QDir dir(
                QString::fromStdString(AUTOCOUNT_FUZZ_DIR "/" + folder + "/" + target.name));
            const QFileInfoList files = dir.entryInfoList(QDir::Files, QDir::Name);
            EXPECT_TRUE(folder != "corpus" || !files.isEmpty())
                << "no seed corpus for " << target.name;
            for (const QFileInfo& info : files) {
                SCOPED_TRACE(info.filePath().toStdString());
                QFile file(info.filePath());
                ASSERT_TRUE(file.open(QIODevice::ReadOnly));
                const QByteArray bytes = file.readAll();
                fuzzing::FuzzInput input(reinterpret_cast<const uint8_t*>(bytes.constData()),
                                         static_cast<size_t>(bytes.size()));
                try {
                    target.run(input);
                } catch (const std::exception& e) {
                    ADD_FAILURE() << e.what();
                }
            }
        }
}

} // namespace
