#pragma once

// The benchmarks drive the controller without a window. Its debug lines
// would interleave with the result tables, so only warnings and errors are
// printed.

#include <QtGlobal>

#include <cstdio>

namespace benchratio {

/// Call before constructing the QApplication.
inline void UseHeadlessQt()
{
    qputenv("QT_QPA_PLATFORM", "offscreen");
    qInstallMessageHandler([](QtMsgType type, const QMessageLogContext&, const QString& text) {
        if (type != QtDebugMsg)
            std::fprintf(stderr, "%s\n", qPrintable(text));
    });
}

} // namespace benchratio
