#pragma once

#include <QList>
#include <QStringList>
#include <QWidget>

QT_BEGIN_NAMESPACE
class QComboBox;
class QLabel;
class QPushButton;
class QTableWidget;
class QTabWidget;
QT_END_NAMESPACE

class CountingSession;
class ResultOverlay;
class SizeDistributionChart;
class SortableObjectTable;

/**
 * @brief Step 4: the count, the object and statistics tables, the size
 * distribution, and the result actions (filter, delete, display mode,
 * appearance, export).
 *
 * A click on a row highlights its object on the image; a click on the image
 * selects the object's row. The object table sorts by any column.
 */
class ResultsPanel : public QWidget
{
    Q_OBJECT
public:
    explicit ResultsPanel(CountingSession* session, QWidget* parent = nullptr);

    /// Reloads the tables and the chart from the module.
    void Refresh();
    QTableWidget* ObjectTable() const;
    QTableWidget* StatisticsTable() const { return statistics_; }
    SizeDistributionChart* Distribution() const { return distribution_; }
    /// The studio's layer of left-out objects and the see-through selection.
    ResultOverlay* Overlay() const { return overlay_; }

signals:
    void filterRequested();
    void appearanceRequested();
    void exportReportRequested();
    void exportImageRequested();

private:
    void SelectRow(int index);
    void RowActivated();
    void DeleteSelected();
    static void Fill(QTableWidget* table, const QList<QStringList>& rows);

    CountingSession* session_;
    QLabel* count_;
    QTabWidget* tabs_;
    SortableObjectTable* objects_;
    QTableWidget* statistics_;
    SizeDistributionChart* distribution_;
    QComboBox* displayMode_;
    QPushButton* delete_;
    ResultOverlay* overlay_;
    bool selecting_ = false;
};
