#include "calibrationdialog.h"

#include "namedcalibrations.h"

#include <QComboBox>
#include <QDialogButtonBox>
#include <QDoubleSpinBox>
#include <QFormLayout>
#include <QLabel>
#include <QVBoxLayout>

CalibrationDialog::CalibrationDialog(const Calibration& calibration, QWidget* parent)
    : QDialog(parent), scale_(new QDoubleSpinBox), unit_(new QComboBox)
{
    setWindowTitle(tr("Calibration"));
    scale_->setObjectName("calibrationScale");
    scale_->setDecimals(6);
    scale_->setRange(1e-6, 1e6);
    scale_->setValue(calibration.scale);
    scale_->setToolTip(tr("Length of one pixel in the unit below"));
    unit_->setObjectName("calibrationUnit");
    unit_->setEditable(true);
    unit_->addItems({QStringLiteral("px"), QStringLiteral("nm"), QStringLiteral("µm"),
                     QStringLiteral("mm"), QStringLiteral("cm")});
    unit_->setCurrentText(calibration.unit);
    unit_->setToolTip(tr("Unit name shown in the tables; px for pixels"));

    // A calibration kept under a name fills in its scale and unit. The
    // dialog owns the box even when there is no name to show it for.
    auto* saved = new QComboBox(this);
    saved->setObjectName("calibrationSaved");
    saved->addItem(tr("(as below)"));
    const QList<NamedCalibration> named = namedcalibrations::All();
    for (const NamedCalibration& entry : named)
        saved->addItem(tr("%1 (%2 %3 per pixel)")
                           .arg(entry.name)
                           .arg(entry.calibration.scale)
                           .arg(entry.calibration.unit));
    saved->setToolTip(tr("Calibrations kept with Count > Calibrate from Line"));
    connect(saved, QOverload<int>::of(&QComboBox::currentIndexChanged), this, [this, named](int i) {
        if (i < 1 || i > named.size())
            return;
        scale_->setValue(named[i - 1].calibration.scale);
        unit_->setCurrentText(named[i - 1].calibration.unit);
        // The box shows six decimals; the kept scale is taken whole.
        exact_ = named[i - 1].calibration;
    });
    connect(scale_, QOverload<double>::of(&QDoubleSpinBox::valueChanged), this,
            [this] { exact_.reset(); });
    connect(unit_, &QComboBox::currentTextChanged, this, [this] { exact_.reset(); });

    auto* form = new QFormLayout;
    if (!named.isEmpty())
        form->addRow(tr("Sa&ved:"), saved);
    form->addRow(tr("&Scale (units per pixel):"), scale_);
    form->addRow(tr("&Unit:"), unit_);
    auto* buttons = new QDialogButtonBox(QDialogButtonBox::Ok | QDialogButtonBox::Cancel);
    auto* layout = new QVBoxLayout(this);
    auto* hint = new QLabel(tr("Lengths are multiplied by the scale, areas by its square."));
    hint->setWordWrap(true);
    layout->addWidget(hint);
    layout->addLayout(form);
    layout->addWidget(buttons);
    connect(buttons, &QDialogButtonBox::accepted, this, &QDialog::accept);
    connect(buttons, &QDialogButtonBox::rejected, this, &QDialog::reject);
}

Calibration CalibrationDialog::Value() const
{
    if (exact_)
        return *exact_;
    Calibration calibration;
    calibration.scale = scale_->value();
    const QString unit = unit_->currentText().trimmed();
    calibration.unit = unit.isEmpty() ? QStringLiteral("px") : unit;
    return calibration;
}
