#include "targetappearancedialog.h"

#include "appearancedefaults.h"

#include "autocount/autocountmanager.h"

#include <QColorDialog>
#include <QDialogButtonBox>
#include <QFontDialog>
#include <QFormLayout>
#include <QPixmap>
#include <QPushButton>
#include <QSpinBox>
#include <QVBoxLayout>

namespace {

QIcon Swatch(const QColor& colour)
{
    QPixmap pixmap(24, 14);
    pixmap.fill(colour.isValid() ? colour : QColor(Qt::transparent));
    return QIcon(pixmap);
}

} // namespace

TargetAppearanceDialog::TargetAppearanceDialog(AutoCountManager* manager, QWidget* parent)
    : QDialog(parent), manager_(manager), property_(manager->GetTargetDrawProperty()),
      font_(new QPushButton), fontColor_(new QPushButton), targetColor_(new QPushButton),
      width_(new QSpinBox)
{
    setWindowTitle(tr("Object Appearance"));
    font_->setObjectName("appearanceFont");
    fontColor_->setObjectName("appearanceFontColor");
    targetColor_->setObjectName("appearanceTargetColor");
    width_->setObjectName("appearanceWidth");
    width_->setRange(1, 20);
    width_->setSuffix(tr(" px"));
    font_->setToolTip(tr("Font of the object numbers"));
    fontColor_->setToolTip(tr("Colour of the object numbers"));
    targetColor_->setToolTip(tr("Colour of the outlines (and of the highlighted number)"));
    width_->setToolTip(tr("Line width of the outlines"));

    auto* form = new QFormLayout;
    form->addRow(tr("Number &font:"), font_);
    form->addRow(tr("Number &colour:"), fontColor_);
    form->addRow(tr("&Outline colour:"), targetColor_);
    form->addRow(tr("Outline &width:"), width_);
    auto* buttons = new QDialogButtonBox(QDialogButtonBox::Ok | QDialogButtonBox::Cancel |
                                         QDialogButtonBox::Reset);
    buttons->button(QDialogButtonBox::Reset)->setToolTip(tr("Back to the default appearance"));
    auto* layout = new QVBoxLayout(this);
    layout->addLayout(form);
    layout->addWidget(buttons);

    connect(font_, &QPushButton::clicked, this, [this] {
        bool ok = false;
        const QFont font = QFontDialog::getFont(&ok, property_.font, this);
        if (ok) {
            property_.font = font;
            Show();
        }
    });
    connect(fontColor_, &QPushButton::clicked, this, [this] {
        const QColor colour = QColorDialog::getColor(property_.fontColor, this);
        if (colour.isValid()) {
            property_.fontColor = colour;
            Show();
        }
    });
    connect(targetColor_, &QPushButton::clicked, this, [this] {
        const QColor colour = QColorDialog::getColor(property_.targetColor, this);
        if (colour.isValid()) {
            property_.targetColor = colour;
            Show();
        }
    });
    connect(width_, QOverload<int>::of(&QSpinBox::valueChanged), this,
            [this](int width) { property_.contourWidth = width; });
    connect(buttons, &QDialogButtonBox::accepted, this, [this] {
        manager_->SetTargetDrawProperty(property_);
        accept();
    });
    connect(buttons, &QDialogButtonBox::rejected, this, &QDialog::reject);
    connect(buttons->button(QDialogButtonBox::Reset), &QPushButton::clicked, this,
            &TargetAppearanceDialog::ResetToDefaults);
    Show();
}

void TargetAppearanceDialog::ResetToDefaults()
{
    // The studio's defaults: the module's, with colours legible on the picture counted.
    manager_->SetDefaultTargetDrawProperty();
    property_ = manager_->GetTargetDrawProperty();
    if (!manager_->GetSourceImage().empty()) {
        const TARGET_DRAW_PROPERTY legible = AppearanceDefaults::For(manager_->GetSourceImage());
        property_.fontColor = legible.fontColor;
        property_.targetColor = legible.targetColor;
    }
    Show();
}

void TargetAppearanceDialog::Show()
{
    font_->setText(
        QStringLiteral("%1, %2 pt").arg(property_.font.family()).arg(property_.font.pointSizeF()));
    fontColor_->setIcon(Swatch(property_.fontColor));
    fontColor_->setText(property_.fontColor.name());
    targetColor_->setIcon(Swatch(property_.targetColor));
    targetColor_->setText(property_.targetColor.name());
    const QSignalBlocker block(width_);
    width_->setValue(property_.contourWidth);
}
