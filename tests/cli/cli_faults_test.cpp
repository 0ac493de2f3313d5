// The autocount program under injected faults: a full disk for chosen files
// (an LD_PRELOAD shim that fails their writes with ENOSPC, or raises a
// signal at their first write), standard output on /dev/full or a closed
// pipe, device nodes as outputs, and signals in the middle of a batch.

#include "clirun.h"

#include <QDateTime>
#include <QFileInfo>

#include <sys/stat.h>

namespace {

class CliFaults : public CliEndToEnd
{
protected:
    /// @p n images "batch/img01.png"... of four discs each.
    void Batch(int n)
    {
        for (int i = 1; i <= n; ++i)
            Write(QStringLiteral("batch/img%1.png").arg(i, 2, 10, QLatin1Char('0')),
                  syntheticcells::Render(Discs(4, 0, 100 + i)));
    }

    /// The shim that fails (or signals on) the writes of files whose path
    /// contains @p pattern.
    static QStringList Shim(const QString& pattern, const QStringList& more = {})
    {
        return QStringList{"LD_PRELOAD=" AUTOCOUNT_ENOSPC_SHIM, "ENOSPC_SHIM_PATTERN=" + pattern} +
               more;
    }

    /// Temporary files left in the scratch folder or below it.
    QStringList Temporaries() const
    {
        QStringList found;
        for (const QString& folder : {dir.path(), Path("batch")})
            for (const QString& name : QDir(folder).entryList(QDir::Files | QDir::Hidden))
                if (name.contains(".autocount-"))
                    found << name;
        return found;
    }

    QStringList Lines(const QString& text) const
    {
        return text.trimmed().isEmpty() ? QStringList() : text.trimmed().split('\n');
    }
};

bool IsCharacterDevice(const char* path)
{
    struct stat info;
    return ::stat(path, &info) == 0 && S_ISCHR(info.st_mode);
}

} // namespace

TEST_F(CliFaults, SmallOutputsOnAFullDiskFailAndKeepTheOldFiles)
{
    const QString image = Write("x.png", syntheticcells::Render(Discs(5, 0, 71)));
    for (const char* name : {"s.csv", "saved.json"}) {
        QFile old(Path(name));
        ASSERT_TRUE(old.open(QIODevice::WriteOnly) && old.write("old\n") == 4);
    }
    for (const auto& c :
         QList<QPair<QStringList, QString>>{{{"--summary", "s.csv", image}, "s.csv"},
                                            {{"--save-settings", "saved.json"}, "saved.json"}}) {
        SCOPED_TRACE(c.second.toStdString());
        const Outcome o = Run(c.first, Shim(c.second));
        EXPECT_EQ(o.exitCode, 1) << o.err.toStdString();
        EXPECT_TRUE(o.err.contains(c.second) && o.err.contains("No space left on device"))
            << o.err.toStdString();
        EXPECT_EQ(Read(c.second), "old\n");
    }
    EXPECT_EQ(Temporaries(), QStringList());
}

TEST_F(CliFaults, StandardOutputThatCannotBeWrittenIsAnError)
{
    const QString image = Write("x.png", syntheticcells::Render(Discs(5, 0, 72)));
    for (const QStringList& arguments : {QStringList{"--json", image}, QStringList{image}}) {
        SCOPED_TRACE(arguments.join(' ').toStdString());
        const Outcome o = Run(arguments, {}, "/dev/full");
        EXPECT_EQ(o.exitCode, 1);
        EXPECT_TRUE(o.err.contains("standard output") && o.err.contains("No space left on device"))
            << o.err.toStdString();
    }
    EXPECT_TRUE(IsCharacterDevice("/dev/full"));
}

TEST_F(CliFaults, DevicesAreWrittenInPlaceWithNothingBesideThem)
{
    const QString image = Write("x.png", syntheticcells::Render(Discs(5, 0, 73)));
    const Outcome o = Run({"--table", "/dev/null", "--summary", "/dev/null", image});
    EXPECT_EQ(o.exitCode, 0) << o.err.toStdString();
    EXPECT_TRUE(IsCharacterDevice("/dev/null"));
    EXPECT_FALSE(QFileInfo::exists("/dev/null.settings.json"));
    EXPECT_FALSE(QFileInfo::exists("/dev/null.settings"));
}

TEST_F(CliFaults, SignalsEndTheBatchWithTheFinishedImagesKept)
{
    Batch(6);
    for (const auto& c : QList<QPair<int, QString>>{{2, "SIGINT"}, {15, "SIGTERM"}}) {
        SCOPED_TRACE(c.second.toStdString());
        QDir(Path("out")).removeRecursively();
        // The signal arrives while the third image's table is written, one
        // image at a time.
        const Outcome o =
            Run({"--jobs", "1", "--table", "out/{stem}.csv", "--summary", "out/s.csv", "batch"},
                Shim("img03.csv", {QStringLiteral("ENOSPC_SHIM_SIGNAL=%1").arg(c.first),
                                   "ENOSPC_SHIM_AFTER=100000000"}));
        EXPECT_EQ(o.exitCode, 128 + c.first) << o.err.toStdString();
        EXPECT_EQ(Lines(o.out).size(), 3) << o.out.toStdString();
        EXPECT_TRUE(o.err.contains("interrupted by " + c.second + ": 3 of 6 images counted"))
            << o.err.toStdString();
        const QStringList summary = Lines(QString::fromUtf8(Read("out/s.csv")));
        // The unit line, the header, three rows and the mark.
        ASSERT_EQ(summary.size(), 2 + 3 + 1) << Read("out/s.csv").toStdString();
        EXPECT_TRUE(summary[2].startsWith("batch/img01.png,1,")) << summary[2].toStdString();
        EXPECT_EQ(summary.last(), "# incomplete: " + c.second + " after 3 of 6 images");
        EXPECT_EQ(QDir(Path("out")).entryList({"*.csv"}),
                  (QStringList{"img01.csv", "img02.csv", "img03.csv", "s.csv"}));
        EXPECT_EQ(Temporaries(), QStringList());
    }
}

TEST_F(CliFaults, AClosedPipeEndsTheRunWithStatus141)
{
    Batch(6);
    QProcess shell;
    shell.setWorkingDirectory(dir.path());
    shell.start("bash", {"-c", QStringLiteral("'%1' count --summary s.csv batch | head -n 1; "
                                              "echo \"status ${PIPESTATUS[0]}\" >&2")
                                   .arg(AUTOCOUNT_PROGRAM)});
    ASSERT_TRUE(shell.waitForFinished(120000));
    const QString err = QString::fromUtf8(shell.readAllStandardError());
    EXPECT_EQ(QString::fromUtf8(shell.readAllStandardOutput()).count('\n'), 1);
    EXPECT_TRUE(err.contains("status 141")) << err.toStdString();
    EXPECT_TRUE(Read("s.csv").contains("# incomplete: SIGPIPE")) << Read("s.csv").toStdString();
}

TEST_F(CliFaults, KilledMidReportEveryFinishedImageStaysAndTheNextRunSweeps)
{
    Batch(4);
    // Killed outright while the third report is written, one image at a time.
    const Outcome o = Run({"--jobs", "1", "--report", "{stem}.xlsx", "--summary", "s.csv", "batch"},
                          Shim("img03.xlsx", {"ENOSPC_SHIM_SIGNAL=9"}));
    EXPECT_TRUE(o.crashed);
    EXPECT_TRUE(Read("img01.xlsx").startsWith("PK"));
    EXPECT_TRUE(Read("img02.xlsx").startsWith("PK"));
    EXPECT_FALSE(QFileInfo::exists(Path("img03.xlsx")));
    EXPECT_EQ(Lines(QString::fromUtf8(Read("s.csv"))).size(), 2 + 2); // unit, header, rows
    // What the killed run left is swept by the next run once it is stale.
    const QStringList left = Temporaries();
    ASSERT_EQ(left.size(), 1);
    QFile stale(Path(left.first()));
    ASSERT_TRUE(stale.open(QIODevice::ReadWrite));
    ASSERT_TRUE(stale.setFileTime(QDateTime::currentDateTime().addSecs(-3600),
                                  QFileDevice::FileModificationTime));
    stale.close();
    EXPECT_EQ(Run({"--report", "{stem}.xlsx", "batch"}).exitCode, 0);
    EXPECT_EQ(Temporaries(), QStringList());
    EXPECT_TRUE(Read("img03.xlsx").startsWith("PK"));
}

TEST_F(CliFaults, AbsurdSettingsAreRefusedWithTheirOption)
{
    const QString image = Write("x.png", syntheticcells::Render(Discs(5, 0, 74)));
    QFile huge(Path("huge.json"));
    ASSERT_TRUE(huge.open(QIODevice::WriteOnly));
    huge.write(QByteArray(2 << 20, ' ') + "{}");
    huge.close();
    for (const auto& c : QList<QPair<QStringList, QString>>{
             {{"--scale", "1e200", "--unit", "m", image}, "--scale"},
             {{"--scale", "1e-200", "--unit", "m", image}, "--scale"},
             {{"--settings", "huge.json", image}, "too large"},
             {{"--settings", "/dev/zero", image}, "not a regular file"},
             {{"--table", "", image}, "--table: empty path"}}) {
        SCOPED_TRACE(c.first.join(' ').toStdString());
        const Outcome o = Run(c.first);
        EXPECT_EQ(o.exitCode, 2);
        EXPECT_TRUE(o.err.contains(c.second)) << o.err.toStdString();
    }
}
