// Memory of a long --jsonl batch: the program's peak resident size when it
// has written the 500th record, as a ratio to its peak at the 50th record of
// the same run. Each record goes out as its image finishes, and a batch keeps
// only counts and file names, so the ratio should stay within 1.05.
//
// Run: build/bench/jsonl_memory_bench [images=560]

#include "syntheticcells.h"

#include <QByteArray>
#include <QCoreApplication>
#include <QDir>
#include <QFile>
#include <QProcess>
#include <QTemporaryDir>

#include <opencv2/imgcodecs.hpp>

#include <cstdio>

namespace {

/// VmHWM of @p pid in kB, or -1.
long PeakKilobytes(qint64 pid)
{
    QFile status(QStringLiteral("/proc/%1/status").arg(pid));
    if (!status.open(QIODevice::ReadOnly))
        return -1;
    for (const QByteArray& line : status.readAll().split('\n'))
        if (line.startsWith("VmHWM:"))
            return line.mid(6).trimmed().split(' ').value(0).toLong();
    return -1;
}

} // namespace

int main(int argc, char** argv)
{
    QCoreApplication app(argc, argv);
    const int images = argc > 1 ? std::atoi(argv[1]) : 560;
    QTemporaryDir dir;
    for (int i = 0; i < images; ++i) {
        syntheticcells::LayoutParams p;
        p.size = cv::Size(400, 400);
        p.singles = 4 + i % 4;
        p.pairs = 0;
        p.seed = 1000 + i;
        const cv::Mat image = syntheticcells::Render(syntheticcells::MakeLayout(p));
        cv::imwrite(
            dir.filePath(QStringLiteral("img%1.png").arg(i, 4, 10, QLatin1Char('0'))).toStdString(),
            image);
    }
    QProcess process;
    QProcessEnvironment env = QProcessEnvironment::systemEnvironment();
    env.insert("QT_QPA_PLATFORM", "offscreen");
    process.setProcessEnvironment(env);
    process.start(QStringLiteral(AUTOCOUNT_PROGRAM),
                  {"count", "--jsonl", "-", "--scale", "0.001", "--unit", "mm", dir.path()});
    if (!process.waitForStarted())
        return 1;
    int lines = 0;
    long at50 = -1;
    long at500 = -1;
    while (lines < images && process.waitForReadyRead(60000)) {
        while (process.canReadLine()) {
            process.readLine();
            ++lines;
            if (lines == 50)
                at50 = PeakKilobytes(process.processId());
            if (lines == 500)
                at500 = PeakKilobytes(process.processId());
        }
    }
    process.waitForFinished(60000);
    if (at50 <= 0 || at500 <= 0) {
        std::fprintf(stderr, "jsonl_memory_bench: too few records (%d)\n", lines);
        return 1;
    }
    const double ratio = static_cast<double>(at500) / at50;
    std::printf("jsonl peak memory: %ld kB at record 50, %ld kB at record 500, ratio %.4f (%s "
                "1.05)\n",
                at50, at500, ratio, ratio <= 1.05 ? "within" : "ABOVE");
    return ratio <= 1.05 ? 0 : 1;
}
