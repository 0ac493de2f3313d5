#pragma once

#include <QDialog>
#include <QString>
#include <QVector>

#include <vector>

#include "autocount/alg/alg.h"

QT_BEGIN_NAMESPACE
class QLabel;
class QTableWidget;
QT_END_NAMESPACE

class AutoCountManager;

/// One row of the filter dialog: a data type by display name and its range.
struct FilterRange
{
    QString name;
    bool enabled = false;
    double minValue = 0.0;
    double maxValue = 0.0;
};

/**
 * @brief Which measurements select the objects, and their inclusive ranges,
 * for every data type of the catalogue.
 *
 * Given the objects measured (SetObjects), each row also shows the
 * measurement's lowest and highest value, and the dialog says how many
 * objects the ranges as they stand would keep.
 */
class FilterDialog : public QDialog
{
    Q_OBJECT
public:
    explicit FilterDialog(AutoCountManager* manager, QWidget* parent = nullptr);

    void SetRanges(const QVector<FilterRange>& ranges);
    QVector<FilterRange> Ranges() const;
    /// The measured objects the ranges choose from; shows their extents and the preview.
    void SetObjects(const std::vector<parResult>& objects);

    /// The module's current ranges, one per catalogue name, in type order.
    static QVector<FilterRange> CurrentRanges();
    /// Writes @p ranges into the module (enable or disable, then the limits).
    static void Apply(AutoCountManager* manager, const QVector<FilterRange>& ranges);

private:
    void ShowExtents();
    void UpdatePreview();

    AutoCountManager* manager_;
    QTableWidget* table_;
    QLabel* preview_;
    std::vector<parResult> objects_;
    bool hasObjects_ = false;
};
