#pragma once

#include <QObject>
#include <QStringList>

QT_BEGIN_NAMESPACE
class QMenu;
QT_END_NAMESPACE

/// The "Open Recent" menu, kept in QSettings, newest first.
class RecentFiles : public QObject
{
    Q_OBJECT
public:
    static constexpr int kMaximum = 10;

    RecentFiles(QMenu* menu, QObject* parent = nullptr);

    void Add(const QString& path);
    QStringList Files() const;

signals:
    void openRequested(const QString& path);

private:
    void Rebuild();

    QMenu* menu_;
};
