#include "recentfiles.h"

#include <QAction>
#include <QDir>
#include <QFileInfo>
#include <QMenu>
#include <QSettings>

namespace {
const char* const kKey = "recentFiles";
}

RecentFiles::RecentFiles(QMenu* menu, QObject* parent) : QObject(parent), menu_(menu)
{
    Rebuild();
}

QStringList RecentFiles::Files() const
{
    return QSettings().value(kKey).toStringList();
}

void RecentFiles::Add(const QString& path)
{
    const QString absolute = QFileInfo(path).absoluteFilePath();
    QStringList files = Files();
    files.removeAll(absolute);
    files.prepend(absolute);
    while (files.size() > kMaximum)
        files.removeLast();
    QSettings().setValue(kKey, files);
    Rebuild();
}

void RecentFiles::Rebuild()
{
    menu_->clear();
    const QStringList files = Files();
    int number = 1;
    for (const QString& path : files) {
        QAction* action = menu_->addAction(
            QStringLiteral("&%1 %2").arg(number++).arg(QDir::toNativeSeparators(path)));
        action->setEnabled(QFileInfo::exists(path));
        connect(action, &QAction::triggered, this, [this, path] { emit openRequested(path); });
    }
    if (!files.isEmpty()) {
        menu_->addSeparator();
        connect(menu_->addAction(tr("&Clear List")), &QAction::triggered, this, [this] {
            QSettings().remove(kKey);
            Rebuild();
        });
    }
    menu_->setEnabled(!files.isEmpty());
}
