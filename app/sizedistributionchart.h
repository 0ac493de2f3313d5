#pragma once

#include <QList>
#include <QStringList>
#include <QVector>
#include <QWidget>

QT_BEGIN_NAMESPACE
class QComboBox;
class QSpinBox;
QT_END_NAMESPACE

namespace QtCharts {
class QChartView;
}

/// Counts of equal-width classes between the smallest and largest value.
struct DistributionBins
{
    double minimum = 0.0;
    double width = 0.0;
    QVector<int> counts;

    /// Splits @p values into @p classes classes; the largest value falls in
    /// the last class. All-equal values make one class of width 0.
    static DistributionBins Make(const QVector<double>& values, int classes);
};

/**
 * @brief Histogram of one measured quantity over the objects of the object
 * table, as a bar chart (Qt Charts).
 */
class SizeDistributionChart : public QWidget
{
    Q_OBJECT
public:
    explicit SizeDistributionChart(QWidget* parent = nullptr);

    /// Takes the object table (header row first, column 0 the number).
    void SetTable(const QList<QStringList>& rows);
    /// The data type shown, by column heading.
    QString CurrentType() const;
    void SetCurrentType(const QString& heading);
    /// Class counts of the chart shown.
    const DistributionBins& Bins() const { return bins_; }

private:
    void Rebuild();

    QComboBox* type_;
    QSpinBox* classes_;
    QtCharts::QChartView* view_;
    QList<QStringList> rows_;
    DistributionBins bins_;
};
