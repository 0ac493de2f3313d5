#include "atomicfile.h"

#include <QDir>
#include <QFile>
#include <QFileInfo>
#include <QSaveFile>
#include <QTemporaryFile>

#include <cstdio>

namespace atomicfile {

namespace {

/// Fault injection for the tests: a write whose file name equals the value of
/// AUTOCOUNT_TEST_FAIL_WRITE fails after its data went to the temporary file,
/// as a full disk would make it fail.
bool InjectedFailure(const QString& path)
{
    const QByteArray name = qgetenv("AUTOCOUNT_TEST_FAIL_WRITE");
    return !name.isEmpty() && QFileInfo(path).fileName() == QString::fromLocal8Bit(name);
}

bool MakeParent(const QString& path, QString* error)
{
    const QDir parent = QFileInfo(path).absoluteDir();
    if (parent.exists() || QDir().mkpath(parent.absolutePath()))
        return true;
    *error = QStringLiteral("cannot create the folder %1").arg(parent.path());
    return false;
}

} // namespace

bool Write(const QString& path, const QByteArray& data, QString* error)
{
    if (!MakeParent(path, error))
        return false;
    QSaveFile file(path);
    if (!file.open(QIODevice::WriteOnly)) {
        *error = file.errorString();
        return false;
    }
    if (file.write(data) != data.size()) {
        *error = file.errorString();
        file.cancelWriting();
        return false;
    }
    if (InjectedFailure(path)) {
        file.cancelWriting();
        *error = QStringLiteral("write failed (simulated)");
        return false;
    }
    if (!file.commit()) {
        *error = file.errorString();
        return false;
    }
    return true;
}

bool Place(const QString& path, const QString& what,
           const std::function<void(const QString& temporary)>& make, QString* error)
{
    if (!MakeParent(path, error))
        return false;
    const QFileInfo info(path);
    // A unique name in the destination folder, so the rename stays on one
    // file system; the writer creates the file itself.
    QString temporary;
    {
        QTemporaryFile reserve(info.absoluteDir().filePath(
            QStringLiteral(".%1.XXXXXX.%2").arg(info.fileName(), info.suffix())));
        if (!reserve.open()) {
            *error = reserve.errorString();
            return false;
        }
        temporary = reserve.fileName();
        reserve.setAutoRemove(false);
    }
    QFile::remove(temporary);
    make(temporary);
    const QFileInfo made(temporary);
    if (!made.exists() || made.size() == 0) {
        QFile::remove(temporary);
        *error = QStringLiteral("%1 was not written").arg(what);
        return false;
    }
    if (InjectedFailure(path)) {
        QFile::remove(temporary);
        *error = QStringLiteral("write failed (simulated)");
        return false;
    }
    // rename(2) replaces an existing file in one step.
    if (std::rename(QFile::encodeName(temporary).constData(),
                    QFile::encodeName(info.absoluteFilePath()).constData()) != 0) {
        QFile::remove(temporary);
        *error = QStringLiteral("cannot move %1 into place").arg(what);
        return false;
    }
    return true;
}

} // namespace atomicfile
