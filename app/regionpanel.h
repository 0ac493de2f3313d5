#pragma once

#include <QWidget>

QT_BEGIN_NAMESPACE
class QButtonGroup;
QT_END_NAMESPACE

class CountingSession;

/// Step 1: the region tool (whole image, rectangles, polygons) and clearing.
class RegionPanel : public QWidget
{
    Q_OBJECT
public:
    explicit RegionPanel(CountingSession* session, QWidget* parent = nullptr);

    /// Shows the module's current region tool.
    void Refresh();

private:
    CountingSession* session_;
    QButtonGroup* modes_;
};
