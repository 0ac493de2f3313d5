// Every input kept under fuzz/corpus/<target>/ and fuzz/regressions/<target>/
// runs through its target once: no crash, no exception, every promise kept.

#include "fuzztargets.h"

#include <QDir>
#include <QFile>
#include <QFileInfo>

#include <gtest/gtest.h>

namespace {

struct ReplayCase
{
    std::string target;
    std::string folder; // "corpus" or "regressions"
};

void PrintTo(const ReplayCase& c, std::ostream* os)
{
    *os << c.folder << "/" << c.target;
}

class FuzzReplay : public ::testing::TestWithParam<ReplayCase>
{
};

TEST_P(FuzzReplay, EveryKeptInputKeepsTheContract)
{
    const ReplayCase& c = GetParam();
    const fuzzing::Target* target = fuzzing::FindTarget(c.target);
    ASSERT_NE(target, nullptr);
    const QDir dir(QStringLiteral(AUTOCOUNT_FUZZ_DIR "/") + QString::fromStdString(c.folder) + "/" +
                   QString::fromStdString(c.target));
    const QFileInfoList files = dir.entryInfoList(QDir::Files, QDir::Name);
    if (c.folder == "corpus") {
        EXPECT_FALSE(files.isEmpty()) << "no seed corpus for " << c.target;
    }
    for (const QFileInfo& info : files) {
        SCOPED_TRACE(info.filePath().toStdString());
        QFile file(info.filePath());
        ASSERT_TRUE(file.open(QIODevice::ReadOnly));
        const QByteArray bytes = file.readAll();
        fuzzing::FuzzInput input(reinterpret_cast<const uint8_t*>(bytes.constData()),
                                 static_cast<size_t>(bytes.size()));
        try {
            target->run(input);
        } catch (const std::exception& e) {
            ADD_FAILURE() << e.what();
        }
    }
}

std::vector<ReplayCase> AllCases()
{
    std::vector<ReplayCase> cases;
    for (const fuzzing::Target& t : fuzzing::Targets())
        for (const char* folder : {"corpus", "regressions"})
            cases.push_back({t.name, folder});
    return cases;
}

std::string CaseName(const ::testing::TestParamInfo<ReplayCase>& info)
{
    const std::string folder = info.param.folder == "corpus" ? "Corpus" : "Regressions";
    return info.param.target + folder;
}

INSTANTIATE_TEST_SUITE_P(Targets, FuzzReplay, ::testing::ValuesIn(AllCases()), CaseName);

} // namespace
