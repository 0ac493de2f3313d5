#include "progressbar.h"

#include "checkedfile.h"

#include <unistd.h>

namespace {

QString Duration(qint64 seconds)
{
    if (seconds >= 3600)
        return QStringLiteral("%1:%2:%3")
            .arg(seconds / 3600)
            .arg(seconds / 60 % 60, 2, 10, QLatin1Char('0'))
            .arg(seconds % 60, 2, 10, QLatin1Char('0'));
    return QStringLiteral("%1:%2").arg(seconds / 60).arg(seconds % 60, 2, 10, QLatin1Char('0'));
}

} // namespace

ProgressBar::ProgressBar(int total, bool enabled, std::FILE* stream)
    : total_(total), enabled_(enabled), stream_(stream)
{
    timer_.start();
    if (enabled_)
        Draw();
}

ProgressBar::~ProgressBar()
{
    Finish();
}

bool ProgressBar::ForTerminal(int total)
{
    // A terminal that cannot move the cursor back (TERM=dumb, as in editors'
    // shells and some CI logs) gets the result lines only.
    const QByteArray term = qgetenv("TERM");
    return total > 1 && isatty(fileno(stderr)) == 1 && term != "dumb";
}

QString ProgressBar::Text(int done, int total, qint64 elapsedMs, int width)
{
    const int filled = total > 0 ? static_cast<int>(static_cast<qint64>(width) * done / total) : 0;
    QString text =
        QStringLiteral("[%1%2] %3/%4 images")
            .arg(QString(filled, QLatin1Char('#')), QString(width - filled, QLatin1Char('.')))
            .arg(done)
            .arg(total);
    if (done > 0 && elapsedMs > 0)
        text += QStringLiteral(", %1 images/s").arg(1000.0 * done / elapsedMs, 0, 'f', 1);
    if (done > 0 && done < total) {
        // The average time per image so far, times the images still to come.
        const qint64 left = elapsedMs * (total - done) / done;
        text += QStringLiteral(", %1 left").arg(Duration((left + 999) / 1000));
    } else if (done == 0 && total > 0) {
        text += QStringLiteral(", estimating");
    }
    return text;
}

void ProgressBar::Update(int done)
{
    done_ = done;
    if (enabled_)
        Draw();
}

bool ProgressBar::PrintLine(std::FILE* stream, const QString& line, QString* error)
{
    if (enabled_ && shown_)
        Clear();
    bool ok = true;
    const QByteArray text = line.toLocal8Bit() + '\n';
    if (stream == stdout) {
        ok = checkedfile::WriteStdout(text, error);
    } else {
        std::fputs(text.constData(), stream);
        std::fflush(stream);
    }
    if (enabled_)
        Draw();
    return ok;
}

void ProgressBar::Finish()
{
    if (enabled_ && shown_)
        Clear();
    enabled_ = false;
}

void ProgressBar::Clear()
{
    std::fputs("\r\033[K", stream_);
    std::fflush(stream_);
    shown_ = false;
}

void ProgressBar::Draw()
{
    const QString text = Text(done_, total_, timer_.elapsed());
    std::fprintf(stream_, "\r\033[K%s", text.toLocal8Bit().constData());
    std::fflush(stream_);
    shown_ = true;
}
