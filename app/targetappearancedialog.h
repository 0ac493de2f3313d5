#pragma once

#include "autocount/drawproperty/targetdrawproperty.h"

#include <QDialog>

QT_BEGIN_NAMESPACE
class QPushButton;
class QSpinBox;
QT_END_NAMESPACE

class AutoCountManager;

/**
 * @brief How the result outlines and numbers look: label font and colour,
 * outline colour and width; OK applies and saves them, Reset restores the
 * module's defaults.
 */
class TargetAppearanceDialog : public QDialog
{
    Q_OBJECT
public:
    explicit TargetAppearanceDialog(AutoCountManager* manager, QWidget* parent = nullptr);

    TARGET_DRAW_PROPERTY Property() const { return property_; }

private:
    void Show();
    void ResetToDefaults();

    AutoCountManager* manager_;
    TARGET_DRAW_PROPERTY property_;
    QPushButton* font_;
    QPushButton* fontColor_;
    QPushButton* targetColor_;
    QSpinBox* width_;
};
