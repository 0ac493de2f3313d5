#include "filterdialog.h"

#include "filterpreview.h"

#include "autocount/autocountmanager.h"

#include <QCheckBox>
#include <QDialogButtonBox>
#include <QDoubleSpinBox>
#include <QHeaderView>
#include <QLabel>
#include <QPushButton>
#include <QTableWidget>
#include <QVBoxLayout>

namespace {

QDoubleSpinBox* MakeLimit(double value)
{
    auto* spin = new QDoubleSpinBox;
    spin->setDecimals(3);
    spin->setRange(-1e12, 1e12);
    spin->setValue(value);
    spin->setFrame(false);
    return spin;
}

} // namespace

FilterDialog::FilterDialog(AutoCountManager* manager, QWidget* parent)
    : QDialog(parent), manager_(manager), table_(new QTableWidget), preview_(new QLabel)
{
    setWindowTitle(tr("Object Filter"));
    auto* layout = new QVBoxLayout(this);
    auto* hint = new QLabel(tr("An object is counted when every checked measurement lies within "
                               "its range (limits included). Lengths and areas are in the "
                               "calibrated unit; a new calibration converts them, so that "
                               "the same objects stay selected."));
    hint->setWordWrap(true);
    layout->addWidget(hint);
    table_->setObjectName("filterTable");
    table_->setColumnCount(5);
    table_->setHorizontalHeaderLabels(
        {tr("Measurement"), tr("Minimum"), tr("Maximum"), tr("Lowest found"), tr("Highest found")});
    table_->verticalHeader()->setVisible(false);
    table_->horizontalHeader()->setSectionResizeMode(QHeaderView::ResizeToContents);
    table_->horizontalHeader()->setSectionResizeMode(1, QHeaderView::Stretch);
    table_->horizontalHeader()->setSectionResizeMode(2, QHeaderView::Stretch);
    table_->setColumnHidden(3, true);
    table_->setColumnHidden(4, true);
    layout->addWidget(table_);
    preview_->setObjectName("filterPreviewLabel");
    preview_->setVisible(false);
    layout->addWidget(preview_);

    auto* buttons = new QDialogButtonBox(QDialogButtonBox::Ok | QDialogButtonBox::Cancel |
                                         QDialogButtonBox::RestoreDefaults);
    layout->addWidget(buttons);
    connect(buttons, &QDialogButtonBox::accepted, this, &QDialog::accept);
    connect(buttons, &QDialogButtonBox::rejected, this, &QDialog::reject);
    connect(buttons->button(QDialogButtonBox::RestoreDefaults), &QPushButton::clicked, this,
            [this] {
                // Shows the defaults; the module keeps its ranges until OK.
                const QVector<FilterRange> kept = CurrentRanges();
                manager_->SetDefaultDataRange();
                const QVector<FilterRange> defaults = CurrentRanges();
                Apply(manager_, kept);
                SetRanges(defaults);
            });
    resize(640, 540);
}

void FilterDialog::SetObjects(const std::vector<parResult>& objects)
{
    objects_ = objects;
    hasObjects_ = true;
    table_->setColumnHidden(3, false);
    table_->setColumnHidden(4, false);
    preview_->setVisible(true);
    ShowExtents();
    UpdatePreview();
}

void FilterDialog::ShowExtents()
{
    if (!hasObjects_)
        return;
    for (int row = 0; row < table_->rowCount(); ++row) {
        const QString name = static_cast<QCheckBox*>(table_->cellWidget(row, 0))->text();
        const filterpreview::Extent extent =
            filterpreview::ExtentOf(objects_, AutoCountManager::nameDataTypeMap.value(name));
        for (const int column : {3, 4}) {
            const double value = column == 3 ? extent.lowest : extent.highest;
            auto* item = new QTableWidgetItem(extent.empty ? QStringLiteral("–")
                                                           : QString::number(value, 'g', 6));
            item->setFlags(Qt::ItemIsEnabled);
            item->setTextAlignment(Qt::AlignRight | Qt::AlignVCenter);
            if (!extent.empty)
                item->setData(Qt::UserRole, value);
            table_->setItem(row, column, item);
        }
    }
}

void FilterDialog::UpdatePreview()
{
    if (!hasObjects_)
        return;
    const int kept = filterpreview::Passing(objects_, Ranges());
    preview_->setText(tr("These ranges keep %1 of %2 objects.").arg(kept).arg(objects_.size()));
}

void FilterDialog::SetRanges(const QVector<FilterRange>& ranges)
{
    table_->setRowCount(ranges.size());
    for (int row = 0; row < ranges.size(); ++row) {
        const FilterRange& range = ranges[row];
        auto* check = new QCheckBox(range.name);
        check->setChecked(range.enabled);
        check->setObjectName(QStringLiteral("filterEnabled%1").arg(row));
        table_->setCellWidget(row, 0, check);
        connect(check, &QCheckBox::toggled, this, &FilterDialog::UpdatePreview);
        for (const int column : {1, 2}) {
            QDoubleSpinBox* limit = MakeLimit(column == 1 ? range.minValue : range.maxValue);
            table_->setCellWidget(row, column, limit);
            connect(limit, QOverload<double>::of(&QDoubleSpinBox::valueChanged), this,
                    &FilterDialog::UpdatePreview);
        }
    }
    ShowExtents();
    UpdatePreview();
}

QVector<FilterRange> FilterDialog::Ranges() const
{
    QVector<FilterRange> ranges;
    for (int row = 0; row < table_->rowCount(); ++row) {
        FilterRange range;
        const auto* check = static_cast<QCheckBox*>(table_->cellWidget(row, 0));
        range.name = check->text();
        range.enabled = check->isChecked();
        range.minValue = static_cast<QDoubleSpinBox*>(table_->cellWidget(row, 1))->value();
        range.maxValue = static_cast<QDoubleSpinBox*>(table_->cellWidget(row, 2))->value();
        ranges << range;
    }
    return ranges;
}

QVector<FilterRange> FilterDialog::CurrentRanges()
{
    QStringList names;
    AutoCountManager::GetAllDataTypeName(names);
    QVector<FilterRange> ranges;
    for (const QString& name : names) {
        FilterRange range;
        range.name = name;
        const auto type = AutoCountManager::nameDataTypeMap.value(name);
        if (const AutoCountManager::OBJECT_DATA_RANGE* r =
                AutoCountManager::dataRangeList.value(type)) {
            range.enabled = r->enabled;
            range.minValue = r->minValue;
            range.maxValue = r->maxValue;
        }
        ranges << range;
    }
    return ranges;
}

void FilterDialog::Apply(AutoCountManager* manager, const QVector<FilterRange>& ranges)
{
    for (const FilterRange& range : ranges) {
        if (!AutoCountManager::nameDataTypeMap.contains(range.name))
            continue;
        if (range.enabled)
            manager->AddDataType(range.name);
        else
            manager->DeleteDataType(range.name);
        manager->ModifyDataMinValue(range.name, range.minValue);
        manager->ModifyDataMaxValue(range.name, range.maxValue);
    }
}
