#pragma once

// A one-line progress bar on the standard error stream, shown only when that
// stream is a terminal: images done of the total and the time left.

#include <QElapsedTimer>
#include <QString>

#include <cstdio>

class ProgressBar
{
public:
    /// Shows nothing unless @p enabled; see ProgressBar::ForTerminal.
    ProgressBar(int total, bool enabled, std::FILE* stream = stderr);
    ~ProgressBar();

    /// Enabled when stderr is a terminal and there is more than one image.
    static bool ForTerminal(int total);

    /// Redraws the bar with @p done images finished.
    void Update(int done);
    /// Prints @p line on @p stream, keeping the bar below it. Lines for
    /// standard output are written with every write(2) checked: false with
    /// the reason in @p error when one fails.
    bool PrintLine(std::FILE* stream, const QString& line, QString* error = nullptr);
    /// Removes the bar.
    void Finish();

    /// The bar's text for @p done of @p total after @p elapsedMs, e.g.
    /// "[#####.....] 5/10 images, 0:12 left". Exposed for the tests.
    static QString Text(int done, int total, qint64 elapsedMs, int width = 30);

private:
    void Clear();
    void Draw();

    int total_;
    int done_ = 0;
    bool enabled_;
    bool shown_ = false;
    std::FILE* stream_;
    QElapsedTimer timer_;
};
