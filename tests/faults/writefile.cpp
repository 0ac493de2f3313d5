// Writes its standard input to a file with checkedfile, for tests that run it
// under fault injection (an LD_PRELOAD shim, a full file system, /dev/full).
//
//   writefile PATH                  checkedfile::Write(PATH, stdin)
//   writefile -                     checkedfile::WriteStdout(stdin), CloseStdout()
//   writefile --append PATH HEADER  AppendFile: Open(PATH, HEADER), Append(stdin), Close()
//   writefile --qsavefile PATH      the QSaveFile way that came before, for comparison
//
// Prints "error: <reason>" on standard error and exits 1 on failure, 0 on
// success. SIGINT and SIGTERM remove open temporary files, as the tool does.
#include "engine/checkedfile.h"

#include <QByteArray>
#include <QSaveFile>
#include <QString>

#include <cerrno>
#include <csignal>
#include <cstdio>
#include <cstring>

#include <unistd.h>

namespace {

void OnTerminate(int signalNumber)
{
    checkedfile::RemoveTemporariesForSignal();
    std::signal(signalNumber, SIG_DFL);
    std::raise(signalNumber);
}

QByteArray ReadStandardInput()
{
    QByteArray data;
    char buffer[65536];
    for (;;) {
        const ssize_t got = ::read(STDIN_FILENO, buffer, sizeof buffer);
        if (got < 0 && errno == EINTR)
            continue;
        if (got <= 0)
            break;
        data.append(buffer, static_cast<int>(got));
    }
    return data;
}

int Report(bool ok, const QString& error)
{
    if (ok)
        return 0;
    std::fprintf(stderr, "error: %s\n", error.toLocal8Bit().constData());
    return 1;
}

} // namespace

int main(int argc, char** argv)
{
    std::signal(SIGINT, OnTerminate);
    std::signal(SIGTERM, OnTerminate);
    std::signal(SIGPIPE, SIG_IGN);
    if (argc < 2) {
        std::fprintf(stderr,
                     "usage: writefile PATH | - | --append PATH HEADER | --qsavefile PATH\n");
        return 2;
    }
    const QByteArray data = ReadStandardInput();
    QString error;
    const QString first = QString::fromLocal8Bit(argv[1]);
    if (first == QLatin1String("-")) {
        const bool written = checkedfile::WriteStdout(data, &error);
        QString closeError;
        const bool closed = checkedfile::CloseStdout(&closeError);
        return Report(written && closed, written ? closeError : error);
    }
    if (first == QLatin1String("--append") && argc == 4) {
        checkedfile::AppendFile file;
        const bool ok = file.Open(QString::fromLocal8Bit(argv[2]), QByteArray(argv[3]), &error) &&
                        file.Append(data, &error) && file.Close(&error);
        return Report(ok, error);
    }
    if (first == QLatin1String("--qsavefile") && argc == 3) {
        QSaveFile file(QString::fromLocal8Bit(argv[2]));
        const bool ok =
            file.open(QIODevice::WriteOnly) && file.write(data) == data.size() && file.commit();
        return Report(ok, file.errorString());
    }
    return Report(checkedfile::Write(first, data, &error), error);
}
