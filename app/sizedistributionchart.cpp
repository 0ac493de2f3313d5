#include "sizedistributionchart.h"

#include <QComboBox>
#include <QHBoxLayout>
#include <QLabel>
#include <QSignalBlocker>
#include <QSpinBox>
#include <QVBoxLayout>
#include <QtCharts/QBarCategoryAxis>
#include <QtCharts/QBarSeries>
#include <QtCharts/QBarSet>
#include <QtCharts/QChart>
#include <QtCharts/QChartView>
#include <QtCharts/QValueAxis>

#include <algorithm>
#include <cmath>

using namespace QtCharts;

DistributionBins DistributionBins::Make(const QVector<double>& values, int classes)
{
    DistributionBins bins;
    if (values.isEmpty() || classes < 1)
        return bins;
    const auto [lo, hi] = std::minmax_element(values.begin(), values.end());
    bins.minimum = *lo;
    if (*hi == *lo) {
        bins.counts = QVector<int>(1, values.size());
        return bins;
    }
    bins.width = (*hi - *lo) / classes;
    bins.counts = QVector<int>(classes, 0);
    for (double v : values) {
        int k = static_cast<int>(std::floor((v - bins.minimum) / bins.width));
        bins.counts[std::clamp(k, 0, classes - 1)] += 1;
    }
    return bins;
}

SizeDistributionChart::SizeDistributionChart(QWidget* parent)
    : QWidget(parent), type_(new QComboBox), classes_(new QSpinBox), view_(new QChartView)
{
    type_->setObjectName("distributionType");
    type_->setToolTip(tr("Measured quantity to plot"));
    classes_->setObjectName("distributionClasses");
    classes_->setRange(2, 50);
    classes_->setValue(10);
    classes_->setToolTip(tr("Number of classes"));
    view_->setObjectName("distributionChart");
    view_->setRenderHint(QPainter::Antialiasing);
    view_->setMinimumHeight(180);

    auto* controls = new QHBoxLayout;
    controls->addWidget(type_, 1);
    controls->addWidget(new QLabel(tr("Classes:")));
    controls->addWidget(classes_);
    auto* layout = new QVBoxLayout(this);
    layout->setContentsMargins(0, 0, 0, 0);
    layout->addLayout(controls);
    layout->addWidget(view_, 1);

    connect(type_, QOverload<int>::of(&QComboBox::currentIndexChanged), this,
            &SizeDistributionChart::Rebuild);
    connect(classes_, QOverload<int>::of(&QSpinBox::valueChanged), this,
            &SizeDistributionChart::Rebuild);
    Rebuild();
}

void SizeDistributionChart::SetTable(const QList<QStringList>& rows)
{
    rows_ = rows;
    const QString previous = type_->currentText();
    {
        const QSignalBlocker block(type_);
        type_->clear();
        if (!rows_.isEmpty())
            type_->addItems(rows_.first().mid(1));
        const int keep = type_->findText(previous);
        type_->setCurrentIndex(keep >= 0 ? keep : 0);
    }
    Rebuild();
}

QString SizeDistributionChart::CurrentType() const
{
    return type_->currentText();
}

void SizeDistributionChart::SetCurrentType(const QString& heading)
{
    const int index = type_->findText(heading);
    if (index >= 0)
        type_->setCurrentIndex(index);
}

void SizeDistributionChart::Rebuild()
{
    const int column = type_->currentIndex() + 1;
    QVector<double> values;
    for (int r = 1; r < rows_.size(); ++r)
        if (column >= 1 && column < rows_[r].size())
            values << rows_[r][column].toDouble();
    bins_ = DistributionBins::Make(values, classes_->value());

    auto* chart = new QChart;
    chart->legend()->hide();
    chart->setTitle(values.isEmpty() ? tr("No objects") : type_->currentText());
    auto* set = new QBarSet(tr("Objects"));
    QStringList categories;
    for (int k = 0; k < bins_.counts.size(); ++k) {
        *set << bins_.counts[k];
        const double from = bins_.minimum + k * bins_.width;
        // Each bar is named by the lower limit of its class.
        categories << QString::number(from, 'g', 4);
    }
    auto* series = new QBarSeries;
    series->setBarWidth(1.0);
    series->append(set);
    chart->addSeries(series);
    auto* xAxis = new QBarCategoryAxis;
    xAxis->append(categories);
    // Upright and small: Qt Charts elides rotated category labels.
    QFont small = xAxis->labelsFont();
    small.setPointSizeF(small.pointSizeF() * 0.8);
    xAxis->setLabelsFont(small);
    xAxis->setTitleText(tr("Class from"));
    chart->addAxis(xAxis, Qt::AlignBottom);
    series->attachAxis(xAxis);
    auto* yAxis = new QValueAxis;
    const int top = bins_.counts.isEmpty()
                        ? 1
                        : std::max(1, *std::max_element(bins_.counts.begin(), bins_.counts.end()));
    // Whole-number ticks: at most five steps of 1, 2 or 5 times a power of ten.
    int step = 1;
    for (int scale = 1; (top + step - 1) / step > 5; scale *= 10)
        for (const int factor : {1, 2, 5}) {
            step = factor * scale;
            if ((top + step - 1) / step <= 5)
                break;
        }
    const int steps = (top + step - 1) / step;
    yAxis->setRange(0, steps * step);
    yAxis->setLabelFormat("%d");
    yAxis->setTickCount(steps + 1);
    yAxis->setTitleText(tr("Count"));
    chart->addAxis(yAxis, Qt::AlignLeft);
    series->attachAxis(yAxis);

    QChart* old = view_->chart();
    view_->setChart(chart);
    delete old;
}
