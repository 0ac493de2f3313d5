// Checked, atomic file output: the normal cases in this process, and the
// faults through the system: an LD_PRELOAD shim that fills the disk for one
// file (tests/faults/enospc_shim.c), a real tmpfs that is full or read-only,
// /dev/full, and signals, with the helper program tests/faults/writefile.cpp.
#include "engine/checkedfile.h"

#include <QByteArray>
#include <QDir>
#include <QFile>
#include <QString>
#include <QStringList>

#include <gtest/gtest.h>

#include <cerrno>
#include <csignal>
#include <cstdlib>
#include <cstring>
#include <map>
#include <string>
#include <thread>
#include <vector>

#include <dirent.h>
#include <fcntl.h>
#include <spawn.h>
#include <sys/mount.h>
#include <sys/stat.h>
#include <sys/types.h>
#include <sys/wait.h>
#include <unistd.h>

extern char** environ;

namespace {

const char kNoSpace[] = "No space left on device";

std::string ReadAll(const std::string& path)
{
    std::string content;
    const int fd = ::open(path.c_str(), O_RDONLY | O_CLOEXEC);
    if (fd < 0)
        return "<missing>";
    char buffer[65536];
    ssize_t got;
    while ((got = ::read(fd, buffer, sizeof buffer)) > 0)
        content.append(buffer, static_cast<size_t>(got));
    ::close(fd);
    return content;
}

void WriteRaw(const std::string& path, const std::string& content)
{
    const int fd = ::open(path.c_str(), O_WRONLY | O_CREAT | O_TRUNC | O_CLOEXEC, 0644);
    ASSERT_GE(fd, 0) << path << ": " << std::strerror(errno);
    ASSERT_EQ(::write(fd, content.data(), content.size()), static_cast<ssize_t>(content.size()));
    ASSERT_EQ(::close(fd), 0);
}

/// Names in @p folder that look like one of the component's temporary files.
std::vector<std::string> Temporaries(const std::string& folder)
{
    std::vector<std::string> found;
    DIR* dir = ::opendir(folder.c_str());
    if (dir == nullptr)
        return found;
    while (const dirent* entry = ::readdir(dir)) {
        const std::string name = entry->d_name;
        if (name.find(".autocount-") != std::string::npos)
            found.push_back(name);
    }
    ::closedir(dir);
    return found;
}

std::string Pattern(size_t size, char seed)
{
    std::string data(size, ' ');
    for (size_t i = 0; i < size; ++i)
        data[i] = static_cast<char>('a' + (seed + i * 7) % 26);
    return data;
}

QString Q(const std::string& path)
{
    return QFile::decodeName(QByteArray::fromStdString(path));
}

QByteArray B(const std::string& data)
{
    return QByteArray::fromStdString(data);
}

struct Outcome
{
    bool exited = false;
    int exitCode = -1;
    int signalNumber = 0;
    std::string out;
    std::string err;
};

/// A fresh folder per test, removed afterwards (mounts in it are detached).
class CheckedFileTest : public ::testing::Test
{
protected:
    void SetUp() override
    {
        char pattern[] = "/tmp/checkedfile-XXXXXX";
        ASSERT_NE(::mkdtemp(pattern), nullptr);
        folder_ = pattern;
    }

    void TearDown() override
    {
        for (auto it = mounts_.rbegin(); it != mounts_.rend(); ++it)
            ::umount2(it->c_str(), MNT_DETACH);
        ::chmod(In("readonly").c_str(), 0755);
        QDir(Q(folder_)).removeRecursively();
    }

    std::string In(const std::string& name) const { return folder_ + "/" + name; }

    /// A tmpfs of @p kilobytes at a new folder @p name, or "" when this
    /// process may not mount.
    std::string MountTmpfs(const std::string& name, int kilobytes)
    {
        const std::string point = In(name);
        if (::mkdir(point.c_str(), 0755) != 0)
            return "";
        const std::string options = "size=" + std::to_string(kilobytes) + "k,mode=0755";
        if (::mount("tmpfs", point.c_str(), "tmpfs", 0, options.c_str()) != 0)
            return "";
        mounts_.push_back(point);
        return point;
    }

    /// Runs the helper with @p args, @p input on its standard input, its
    /// standard output to @p stdoutPath (a file here unless given) and the
    /// extra environment @p env.
    Outcome Run(const std::vector<std::string>& args, const std::string& input,
                const std::map<std::string, std::string>& env = {},
                const std::string& stdoutPath = "", int stdoutFd = -1)
    {
        Outcome outcome;
        const std::string inPath = In("helper-stdin");
        const std::string outPath = stdoutPath.empty() ? In("helper-stdout") : stdoutPath;
        const std::string errPath = In("helper-stderr");
        WriteRaw(inPath, input);

        std::vector<std::string> argStrings{CHECKEDFILE_WRITEFILE};
        argStrings.insert(argStrings.end(), args.begin(), args.end());
        std::vector<char*> argv;
        for (std::string& arg : argStrings)
            argv.push_back(arg.data());
        argv.push_back(nullptr);

        std::vector<std::string> envStrings;
        for (char** entry = environ; *entry; ++entry)
            envStrings.emplace_back(*entry);
        for (const auto& [name, value] : env)
            envStrings.push_back(name + "=" + value);
        std::vector<char*> envp;
        for (std::string& entry : envStrings)
            envp.push_back(entry.data());
        envp.push_back(nullptr);

        posix_spawn_file_actions_t actions;
        posix_spawn_file_actions_init(&actions);
        posix_spawn_file_actions_addopen(&actions, 0, inPath.c_str(), O_RDONLY, 0);
        if (stdoutFd >= 0)
            posix_spawn_file_actions_adddup2(&actions, stdoutFd, 1);
        else
            posix_spawn_file_actions_addopen(&actions, 1, outPath.c_str(),
                                             O_WRONLY | O_CREAT | O_TRUNC, 0644);
        posix_spawn_file_actions_addopen(&actions, 2, errPath.c_str(), O_WRONLY | O_CREAT | O_TRUNC,
                                         0644);
        pid_t pid = -1;
        const int spawned =
            posix_spawn(&pid, argStrings[0].c_str(), &actions, nullptr, argv.data(), envp.data());
        posix_spawn_file_actions_destroy(&actions);
        EXPECT_EQ(spawned, 0) << std::strerror(spawned);
        if (spawned != 0)
            return outcome;
        int status = 0;
        while (::waitpid(pid, &status, 0) < 0 && errno == EINTR) {
        }
        outcome.exited = WIFEXITED(status);
        outcome.exitCode = outcome.exited ? WEXITSTATUS(status) : -1;
        outcome.signalNumber = WIFSIGNALED(status) ? WTERMSIG(status) : 0;
        if (stdoutPath.empty() && stdoutFd < 0)
            outcome.out = ReadAll(outPath);
        outcome.err = ReadAll(errPath);
        return outcome;
    }

    /// The environment that makes writes to files named like @p pattern fail.
    static std::map<std::string, std::string> FullDiskFor(const std::string& pattern,
                                                          long long after = 0)
    {
        return {{"LD_PRELOAD", CHECKEDFILE_ENOSPC_SHIM},
                {"ENOSPC_SHIM_PATTERN", pattern},
                {"ENOSPC_SHIM_AFTER", std::to_string(after)}};
    }

    std::string folder_;
    std::vector<std::string> mounts_;
};

// ---------------------------------------------------------------------------
// Normal writes

TEST_F(CheckedFileTest, WritesNewFileWithParentsAndUmaskMode)
{
    const mode_t oldMask = ::umask(022);
    const std::string target = In("a/b/c/out.csv");
    QString error;
    const bool ok = checkedfile::Write(Q(target), "x,y\n1,2\n", &error);
    ::umask(oldMask);
    ASSERT_TRUE(ok) << error.toStdString();
    EXPECT_EQ(ReadAll(target), "x,y\n1,2\n");
    struct stat info;
    ASSERT_EQ(::stat(target.c_str(), &info), 0);
    EXPECT_EQ(info.st_mode & 07777, 0644u);
    EXPECT_TRUE(Temporaries(In("a/b/c")).empty());
}

TEST_F(CheckedFileTest, ReplacesExistingFileByRenameKeepingPermissions)
{
    const std::string target = In("out.csv");
    WriteRaw(target, "old");
    ASSERT_EQ(::chmod(target.c_str(), 0640), 0);
    struct stat before;
    ASSERT_EQ(::stat(target.c_str(), &before), 0);
    QString error;
    ASSERT_TRUE(checkedfile::Write(Q(target), "new content", &error)) << error.toStdString();
    struct stat after;
    ASSERT_EQ(::stat(target.c_str(), &after), 0);
    EXPECT_EQ(ReadAll(target), "new content");
    EXPECT_NE(before.st_ino, after.st_ino);
    EXPECT_EQ(after.st_mode & 07777, 0640u);
    EXPECT_TRUE(Temporaries(folder_).empty());
}

TEST_F(CheckedFileTest, WritesFileWithLongestPossibleName)
{
    const std::string target = In(std::string(250, 'n') + ".csv");
    QString error;
    ASSERT_TRUE(checkedfile::Write(Q(target), "long", &error)) << error.toStdString();
    EXPECT_EQ(ReadAll(target), "long");
    EXPECT_TRUE(Temporaries(folder_).empty());
}

TEST_F(CheckedFileTest, WritesLargeFile)
{
    const std::string target = In("large.bin");
    const std::string data = Pattern(3 * 1024 * 1024 + 17, 3);
    QString error;
    ASSERT_TRUE(checkedfile::Write(Q(target), B(data), &error)) << error.toStdString();
    EXPECT_EQ(ReadAll(target), data);
}

TEST_F(CheckedFileTest, WritesThroughSymlinkKeepingTheLink)
{
    ASSERT_EQ(::mkdir(In("real").c_str(), 0755), 0);
    WriteRaw(In("real/data.csv"), "old");
    ASSERT_EQ(::symlink("real/data.csv", In("link.csv").c_str()), 0);
    QString error;
    ASSERT_TRUE(checkedfile::Write(Q(In("link.csv")), "through the link", &error))
        << error.toStdString();
    struct stat info;
    ASSERT_EQ(::lstat(In("link.csv").c_str(), &info), 0);
    EXPECT_TRUE(S_ISLNK(info.st_mode));
    EXPECT_EQ(ReadAll(In("real/data.csv")), "through the link");
    EXPECT_TRUE(Temporaries(folder_).empty());
    EXPECT_TRUE(Temporaries(In("real")).empty());
}

TEST_F(CheckedFileTest, DanglingSymlinkCreatesItsTarget)
{
    ASSERT_EQ(::symlink("made/later.csv", In("dangling.csv").c_str()), 0);
    QString error;
    ASSERT_TRUE(checkedfile::Write(Q(In("dangling.csv")), "created", &error))
        << error.toStdString();
    struct stat info;
    ASSERT_EQ(::lstat(In("dangling.csv").c_str(), &info), 0);
    EXPECT_TRUE(S_ISLNK(info.st_mode));
    EXPECT_EQ(ReadAll(In("made/later.csv")), "created");
}

TEST_F(CheckedFileTest, RefusesDirectory)
{
    ASSERT_EQ(::mkdir(In("folder").c_str(), 0755), 0);
    QString error;
    EXPECT_FALSE(checkedfile::Write(Q(In("folder")), "data", &error));
    EXPECT_TRUE(error.contains(Q(In("folder")))) << error.toStdString();
    EXPECT_TRUE(error.contains(QStringLiteral("folder, not a file"))) << error.toStdString();
    struct stat info;
    ASSERT_EQ(::stat(In("folder").c_str(), &info), 0);
    EXPECT_TRUE(S_ISDIR(info.st_mode));
    EXPECT_TRUE(Temporaries(folder_).empty());
}

// ---------------------------------------------------------------------------
// Devices and FIFOs are written in place, never replaced

void ExpectCharDevice(const char* path, dev_t expected)
{
    struct stat info;
    ASSERT_EQ(::lstat(path, &info), 0);
    EXPECT_TRUE(S_ISCHR(info.st_mode)) << path << " is no longer a character device";
    EXPECT_EQ(info.st_rdev, expected);
}

TEST_F(CheckedFileTest, DevFullIsWrittenInPlaceAndReportsNoSpace)
{
    struct stat before;
    ASSERT_EQ(::stat("/dev/full", &before), 0);
    QString error;
    EXPECT_FALSE(checkedfile::Write(QStringLiteral("/dev/full"), "data", &error));
    EXPECT_TRUE(error.contains(QStringLiteral("/dev/full"))) << error.toStdString();
    EXPECT_TRUE(error.contains(QLatin1String(kNoSpace))) << error.toStdString();
    ExpectCharDevice("/dev/full", before.st_rdev);
    EXPECT_TRUE(Temporaries("/dev").empty());
}

TEST_F(CheckedFileTest, DevNullIsWrittenInPlaceAndStaysADevice)
{
    struct stat before;
    ASSERT_EQ(::stat("/dev/null", &before), 0);
    QString error;
    EXPECT_TRUE(checkedfile::Write(QStringLiteral("/dev/null"), "data", &error))
        << error.toStdString();
    ExpectCharDevice("/dev/null", before.st_rdev);
    // The same through a link elsewhere.
    ASSERT_EQ(::symlink("/dev/null", In("null-link").c_str()), 0);
    EXPECT_TRUE(checkedfile::Write(Q(In("null-link")), "data", &error)) << error.toStdString();
    ExpectCharDevice("/dev/null", before.st_rdev);
    EXPECT_TRUE(Temporaries("/dev").empty());
}

TEST_F(CheckedFileTest, AppendFileToDevNullStaysADevice)
{
    struct stat before;
    ASSERT_EQ(::stat("/dev/null", &before), 0);
    checkedfile::AppendFile file;
    QString error;
    ASSERT_TRUE(file.Open(QStringLiteral("/dev/null"), "header\n", &error)) << error.toStdString();
    EXPECT_TRUE(file.Append("row\n", &error)) << error.toStdString();
    EXPECT_TRUE(file.Sync(&error)) << error.toStdString();
    EXPECT_TRUE(file.Close(&error)) << error.toStdString();
    ExpectCharDevice("/dev/null", before.st_rdev);
}

TEST_F(CheckedFileTest, FifoIsWrittenInPlaceToItsReader)
{
    const std::string fifo = In("pipe");
    ASSERT_EQ(::mkfifo(fifo.c_str(), 0644), 0);
    std::string received;
    std::thread reader([&] { received = ReadAll(fifo); });
    const std::string data = Pattern(100000, 5);
    QString error;
    const bool ok = checkedfile::Write(Q(fifo), B(data), &error);
    if (!ok) {
        // Let the reader's open() return so that the thread ends.
        const int fd = ::open(fifo.c_str(), O_WRONLY | O_NONBLOCK);
        if (fd >= 0)
            ::close(fd);
    }
    reader.join();
    EXPECT_TRUE(ok) << error.toStdString();
    EXPECT_EQ(received, data);
    struct stat info;
    ASSERT_EQ(::lstat(fifo.c_str(), &info), 0);
    EXPECT_TRUE(S_ISFIFO(info.st_mode));
    EXPECT_TRUE(Temporaries(folder_).empty());
}

TEST_F(CheckedFileTest, DevStdoutIsWrittenInPlace)
{
    const Outcome outcome = Run({"/dev/stdout"}, "to standard output\n");
    EXPECT_EQ(outcome.exitCode, 0) << outcome.err;
    EXPECT_EQ(outcome.out, "to standard output\n");
}

// ---------------------------------------------------------------------------
// A full disk, through the shim

TEST_F(CheckedFileTest, SmallFileOnFullDiskFailsAndKeepsOldFile)
{
    const std::string target = In("counts.csv");
    const std::string old = "file,count\nold.png,12\n";
    WriteRaw(target, old);
    const Outcome outcome = Run({target}, "file,count\nnew.png,13\n", FullDiskFor("counts.csv"));
    EXPECT_TRUE(outcome.exited);
    EXPECT_NE(outcome.exitCode, 0);
    EXPECT_NE(outcome.err.find(target), std::string::npos) << outcome.err;
    EXPECT_NE(outcome.err.find(kNoSpace), std::string::npos) << outcome.err;
    EXPECT_EQ(ReadAll(target), old);
    EXPECT_TRUE(Temporaries(folder_).empty());
}

TEST_F(CheckedFileTest, NewSmallFileOnFullDiskLeavesNothing)
{
    const std::string target = In("fresh.json");
    const Outcome outcome = Run({target}, "{\"count\": 4}\n", FullDiskFor("fresh.json"));
    EXPECT_EQ(outcome.exitCode, 1);
    EXPECT_NE(outcome.err.find(kNoSpace), std::string::npos) << outcome.err;
    EXPECT_EQ(::access(target.c_str(), F_OK), -1);
    EXPECT_TRUE(Temporaries(folder_).empty());
}

TEST_F(CheckedFileTest, LargeFileRunningOutOfSpaceMidwayKeepsOldFile)
{
    const std::string target = In("objects.csv");
    const std::string old = Pattern(5000, 1);
    WriteRaw(target, old);
    const Outcome outcome = Run({target}, Pattern(200000, 2), FullDiskFor("objects.csv", 20000));
    EXPECT_EQ(outcome.exitCode, 1);
    EXPECT_NE(outcome.err.find(target), std::string::npos) << outcome.err;
    EXPECT_NE(outcome.err.find(kNoSpace), std::string::npos) << outcome.err;
    EXPECT_EQ(ReadAll(target), old);
    EXPECT_TRUE(Temporaries(folder_).empty());
}

TEST_F(CheckedFileTest, ShortAndInterruptedWritesAreContinued)
{
    const std::string target = In("slow.csv");
    const std::string data = Pattern(50000, 6);
    auto env = FullDiskFor("slow.csv", 1 << 20);
    env["ENOSPC_SHIM_SHORT"] = "777";
    env["ENOSPC_SHIM_EINTR"] = "1";
    Outcome outcome = Run({target}, data, env);
    EXPECT_EQ(outcome.exitCode, 0) << outcome.err;
    EXPECT_EQ(ReadAll(target), data);
    EXPECT_TRUE(Temporaries(folder_).empty());

    const std::string rows = In("slow.jsonl");
    env["ENOSPC_SHIM_PATTERN"] = "slow.jsonl";
    outcome = Run({"--append", rows, "{}\n"}, data, env);
    EXPECT_EQ(outcome.exitCode, 0) << outcome.err;
    EXPECT_EQ(ReadAll(rows), "{}\n" + data);

    env["ENOSPC_SHIM_PATTERN"] = "helper-stdout";
    outcome = Run({"-"}, data, env);
    EXPECT_EQ(outcome.exitCode, 0) << outcome.err;
    EXPECT_EQ(outcome.out, data);
}

TEST_F(CheckedFileTest, FailedSyncKeepsOldFile)
{
    const std::string target = In("synced.csv");
    WriteRaw(target, "old");
    auto env = FullDiskFor("synced.csv", 1 << 20);
    env["ENOSPC_SHIM_FSYNC"] = "1";
    const Outcome outcome = Run({target}, "new", env);
    EXPECT_EQ(outcome.exitCode, 1);
    EXPECT_NE(outcome.err.find(kNoSpace), std::string::npos) << outcome.err;
    EXPECT_EQ(ReadAll(target), "old");
    EXPECT_TRUE(Temporaries(folder_).empty());
}

TEST_F(CheckedFileTest, AppendFileOnFullDiskReportsTheFailedAppend)
{
    const std::string target = In("rows.jsonl");
    // The header fits, the rows do not.
    const Outcome outcome = Run({"--append", target, "{\"header\": 1}\n"}, Pattern(4096, 3),
                                FullDiskFor("rows.jsonl", 14));
    EXPECT_EQ(outcome.exitCode, 1);
    EXPECT_NE(outcome.err.find(target), std::string::npos) << outcome.err;
    EXPECT_NE(outcome.err.find(kNoSpace), std::string::npos) << outcome.err;
    EXPECT_EQ(ReadAll(target), "{\"header\": 1}\n");
    EXPECT_TRUE(Temporaries(folder_).empty());
}

TEST_F(CheckedFileTest, AppendFileWhoseHeaderDoesNotFitKeepsOldFile)
{
    const std::string target = In("batch.csv");
    WriteRaw(target, "previous batch");
    const Outcome outcome =
        Run({"--append", target, "file,count\n"}, "a,1\n", FullDiskFor("batch.csv"));
    EXPECT_EQ(outcome.exitCode, 1);
    EXPECT_NE(outcome.err.find(kNoSpace), std::string::npos) << outcome.err;
    EXPECT_EQ(ReadAll(target), "previous batch");
    EXPECT_TRUE(Temporaries(folder_).empty());
}

// Why the component exists: QSaveFile buffers a small file in write() and
// drops the error of the real write(2) in commit(), so on a full disk it
// renames an empty file into place and reports success. (Its temporary file
// is an unnamed O_TMPFILE, seen as "<folder>/#<inode> (deleted)".)
TEST_F(CheckedFileTest, QSaveFileReportsSuccessForSmallFileOnFullDisk)
{
    const std::string target = In("report.csv");
    const std::string old = "file,count\nold.png,12\n";
    WriteRaw(target, old);
    const Outcome outcome =
        Run({"--qsavefile", target}, "file,count\nnew.png,13\n", FullDiskFor(In("#")));
    EXPECT_EQ(outcome.exitCode, 0) << outcome.err;
    EXPECT_EQ(ReadAll(target), "") << "QSaveFile no longer loses the error; this test can go";
}

// ---------------------------------------------------------------------------
// Standard output

TEST_F(CheckedFileTest, StdoutWritesEverything)
{
    const std::string data = Pattern(300000, 4);
    const Outcome outcome = Run({"-"}, data);
    EXPECT_EQ(outcome.exitCode, 0) << outcome.err;
    EXPECT_EQ(outcome.out, data);
}

TEST_F(CheckedFileTest, StdoutToDevFullFails)
{
    const Outcome outcome = Run({"-"}, "{\"count\": 3}\n", {}, "/dev/full");
    EXPECT_EQ(outcome.exitCode, 1);
    EXPECT_NE(outcome.err.find("standard output"), std::string::npos) << outcome.err;
    EXPECT_NE(outcome.err.find(kNoSpace), std::string::npos) << outcome.err;
}

TEST_F(CheckedFileTest, StdoutToClosedPipeFails)
{
    int fds[2];
    ASSERT_EQ(::pipe2(fds, O_CLOEXEC), 0);
    ::close(fds[0]);
    const Outcome outcome = Run({"-"}, "{\"count\": 3}\n", {}, "", fds[1]);
    ::close(fds[1]);
    EXPECT_EQ(outcome.exitCode, 1);
    EXPECT_NE(outcome.err.find("Broken pipe"), std::string::npos) << outcome.err;
}

TEST_F(CheckedFileTest, StdoutToFileOnFullDiskFails)
{
    const std::string target = In("stdout.json");
    const Outcome outcome = Run({"-"}, "{\"count\": 3}\n", FullDiskFor("stdout.json"), target);
    EXPECT_EQ(outcome.exitCode, 1);
    EXPECT_NE(outcome.err.find(kNoSpace), std::string::npos) << outcome.err;
}

// ---------------------------------------------------------------------------
// Signals and stale temporary files

TEST_F(CheckedFileTest, SignalDuringWriteRemovesTemporary)
{
    const std::string target = In("interrupted.csv");
    WriteRaw(target, "old");
    auto env = FullDiskFor("interrupted.csv", 1 << 20);
    env["ENOSPC_SHIM_SIGNAL"] = std::to_string(SIGTERM);
    const Outcome outcome = Run({target}, "new", env);
    EXPECT_EQ(outcome.signalNumber, SIGTERM);
    EXPECT_EQ(ReadAll(target), "old");
    EXPECT_TRUE(Temporaries(folder_).empty());
}

TEST_F(CheckedFileTest, RemovesOnlyStaleTemporaries)
{
    WriteRaw(In(".out.csv.autocount-Ab12Cd"), "stale");
    WriteRaw(In(".out.csv.autocount-Zz99Yy"), "fresh");
    WriteRaw(In(".out.csv.autocount-toolong1"), "not ours");
    WriteRaw(In("out.csv.autocount-Ab12Cd"), "not hidden");
    WriteRaw(In("out.csv"), "the output");
    const timespec old[2] = {{1000000000, 0}, {1000000000, 0}};
    ASSERT_EQ(::utimensat(AT_FDCWD, In(".out.csv.autocount-Ab12Cd").c_str(), old, 0), 0);
    ASSERT_EQ(::utimensat(AT_FDCWD, In(".out.csv.autocount-toolong1").c_str(), old, 0), 0);
    ASSERT_EQ(::utimensat(AT_FDCWD, In("out.csv.autocount-Ab12Cd").c_str(), old, 0), 0);
    ASSERT_EQ(::utimensat(AT_FDCWD, In("out.csv").c_str(), old, 0), 0);
    QString error;
    EXPECT_EQ(checkedfile::RemoveStaleTemporaries(Q(folder_), 3600, &error), 1)
        << error.toStdString();
    EXPECT_EQ(::access(In(".out.csv.autocount-Ab12Cd").c_str(), F_OK), -1);
    EXPECT_EQ(ReadAll(In(".out.csv.autocount-Zz99Yy")), "fresh");
    EXPECT_EQ(ReadAll(In(".out.csv.autocount-toolong1")), "not ours");
    EXPECT_EQ(ReadAll(In("out.csv.autocount-Ab12Cd")), "not hidden");
    EXPECT_EQ(ReadAll(In("out.csv")), "the output");
}

TEST_F(CheckedFileTest, RemoveStaleTemporariesReportsMissingFolder)
{
    QString error;
    EXPECT_EQ(checkedfile::RemoveStaleTemporaries(Q(In("missing")), 0, &error), -1);
    EXPECT_TRUE(error.contains(QStringLiteral("No such file or directory"))) << error.toStdString();
}

// ---------------------------------------------------------------------------
// A real small file system

TEST_F(CheckedFileTest, FullTmpfsFailsAndKeepsOldFile)
{
    const std::string disk = MountTmpfs("disk", 64);
    if (disk.empty())
        GTEST_SKIP() << "cannot mount a tmpfs here: " << std::strerror(errno);
    const std::string target = disk + "/counts.csv";
    const std::string old = "file,count\nold.png,12\n";
    WriteRaw(target, old);
    // Fill the rest of the disk.
    const int fd = ::open((disk + "/filler").c_str(), O_WRONLY | O_CREAT | O_CLOEXEC, 0644);
    ASSERT_GE(fd, 0);
    const std::string block(4096, 'f');
    while (::write(fd, block.data(), block.size()) > 0) {
    }
    EXPECT_EQ(errno, ENOSPC);
    ::close(fd);

    QString error;
    EXPECT_FALSE(checkedfile::Write(Q(target), "file,count\nnew.png,13\n", &error));
    EXPECT_TRUE(error.contains(Q(target))) << error.toStdString();
    EXPECT_TRUE(error.contains(QLatin1String(kNoSpace))) << error.toStdString();
    EXPECT_EQ(ReadAll(target), old);
    EXPECT_TRUE(Temporaries(disk).empty());

    // The helper, a separate process, fails the same way.
    const Outcome outcome = Run({target}, "file,count\nnew.png,13\n");
    EXPECT_EQ(outcome.exitCode, 1);
    EXPECT_NE(outcome.err.find(kNoSpace), std::string::npos) << outcome.err;
    EXPECT_EQ(ReadAll(target), old);
    EXPECT_TRUE(Temporaries(disk).empty());

    // Appending to a file that was opened while there was room.
    ASSERT_EQ(::unlink((disk + "/filler").c_str()), 0);
    checkedfile::AppendFile rows;
    ASSERT_TRUE(rows.Open(Q(disk + "/rows.jsonl"), "{}\n", &error)) << error.toStdString();
    const QByteArray chunk(8192, 'r');
    bool appended = true;
    for (int i = 0; i < 32 && appended; ++i)
        appended = rows.Append(chunk, &error);
    EXPECT_FALSE(appended);
    EXPECT_TRUE(error.contains(QLatin1String(kNoSpace))) << error.toStdString();
    EXPECT_TRUE(error.contains(Q(disk + "/rows.jsonl"))) << error.toStdString();
    rows.Close(&error);
}

TEST_F(CheckedFileTest, ReadOnlyFolderFailsAndKeepsOldFile)
{
    std::string folder;
    if (::geteuid() == 0) {
        folder = MountTmpfs("readonly", 64);
        if (folder.empty())
            GTEST_SKIP() << "root, but cannot mount a read-only tmpfs: " << std::strerror(errno);
        WriteRaw(folder + "/out.csv", "old");
        ASSERT_EQ(::mount(nullptr, folder.c_str(), nullptr, MS_REMOUNT | MS_RDONLY, "size=64k"), 0)
            << std::strerror(errno);
    } else {
        folder = In("readonly");
        ASSERT_EQ(::mkdir(folder.c_str(), 0755), 0);
        WriteRaw(folder + "/out.csv", "old");
        ASSERT_EQ(::chmod(folder.c_str(), 0555), 0);
    }
    QString error;
    EXPECT_FALSE(checkedfile::Write(Q(folder + "/out.csv"), "new", &error));
    EXPECT_TRUE(error.contains(Q(folder + "/out.csv"))) << error.toStdString();
    EXPECT_TRUE(error.contains(QStringLiteral("Read-only file system")) ||
                error.contains(QStringLiteral("Permission denied")))
        << error.toStdString();
    EXPECT_FALSE(error.contains(QStringLiteral("Unknown error")));
    EXPECT_EQ(ReadAll(folder + "/out.csv"), "old");
    EXPECT_TRUE(Temporaries(folder).empty());
}

} // namespace
