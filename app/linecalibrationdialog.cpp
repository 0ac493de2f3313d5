#include "linecalibrationdialog.h"

#include <QComboBox>
#include <QDialogButtonBox>
#include <QDoubleSpinBox>
#include <QFormLayout>
#include <QLabel>
#include <QLineEdit>
#include <QPushButton>
#include <QVBoxLayout>

LineCalibrationDialog::LineCalibrationDialog(double pixels, const QString& unit, QWidget* parent)
    : QDialog(parent), pixels_(pixels), length_(new QDoubleSpinBox), unit_(new QComboBox),
      name_(new QLineEdit)
{
    setWindowTitle(tr("Calibrate from a Line"));
    length_->setObjectName("lineLength");
    length_->setDecimals(6);
    length_->setRange(1e-6, 1e9);
    length_->setValue(100.0);
    length_->setToolTip(tr("The real length of the line drawn, e.g. the scale bar's"));
    unit_->setObjectName("lineUnit");
    unit_->setEditable(true);
    unit_->addItems(
        {QStringLiteral("µm"), QStringLiteral("nm"), QStringLiteral("mm"), QStringLiteral("cm")});
    if (!unit.isEmpty() && unit != QLatin1String("px"))
        unit_->setCurrentText(unit);
    name_->setObjectName("lineName");
    name_->setPlaceholderText(tr("e.g. 10x objective"));
    name_->setToolTip(tr("Keeps the calibration under this name, to be chosen again later"));

    auto* form = new QFormLayout;
    form->addRow(tr("Line drawn:"), new QLabel(tr("%L1 pixels").arg(pixels_, 0, 'f', 2)));
    form->addRow(tr("&Real length:"), length_);
    form->addRow(tr("&Unit:"), unit_);
    form->addRow(tr("&Keep as:"), name_);
    auto* buttons = new QDialogButtonBox(QDialogButtonBox::Ok | QDialogButtonBox::Cancel);
    auto* layout = new QVBoxLayout(this);
    layout->addLayout(form);
    layout->addWidget(buttons);
    connect(buttons, &QDialogButtonBox::accepted, this, &QDialog::accept);
    connect(buttons, &QDialogButtonBox::rejected, this, &QDialog::reject);
}

Calibration LineCalibrationDialog::Value() const
{
    Calibration calibration;
    calibration.scale = length_->value() / pixels_;
    const QString unit = unit_->currentText().trimmed();
    calibration.unit = unit.isEmpty() ? QStringLiteral("px") : unit;
    return calibration;
}

QString LineCalibrationDialog::Name() const
{
    return name_->text().trimmed();
}
