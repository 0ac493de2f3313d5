#pragma once

#include <QColor>
#include <QObject>

QT_BEGIN_NAMESPACE
class QGraphicsPathItem;
QT_END_NAMESPACE

class CountingSession;

/**
 * @brief The studio's own layer over the module's drawing of the results:
 * the objects the filters or the user left out, dimmed instead of gone, and
 * the selected object as a see-through outline.
 *
 * The module's drawing is left as it is; only while the see-through
 * selection is on are its solid highlight and the selected object's target
 * hidden, and the outline shows in their place.
 */
class ResultOverlay : public QObject
{
    Q_OBJECT
public:
    explicit ResultOverlay(CountingSession* session, QObject* parent = nullptr);

    void SetSeeThroughSelection(bool on);
    bool SeeThroughSelection() const { return seeThrough_; }

    const QGraphicsPathItem* ExcludedLayer() const { return excluded_; }
    const QGraphicsPathItem* SelectionLayer() const { return selection_; }

    /// Draws both layers again from the session's results and selection.
    void Update();

private:
    void UpdateLeftOut();
    void UpdateSelection();
    void ShowModuleHighlight(int highlighted);

    CountingSession* session_;
    QGraphicsPathItem* excluded_;
    QGraphicsPathItem* selection_;
    QColor background_; ///< the picture's median colour, invalid until needed
    bool seeThrough_ = true;
};
