#pragma once

// Driving the studio's modal dialogs as a user does: a dialog opened by a
// shortcut is worked on as soon as it shows.

#include <QApplication>
#include <QCheckBox>
#include <QDialog>
#include <QDialogButtonBox>
#include <QDoubleSpinBox>
#include <QPushButton>
#include <QTableWidget>
#include <QTest>
#include <QTimer>

#include <gtest/gtest.h>

#include <functional>

namespace dialogs {

/// Runs @p act on the next modal dialog as soon as it is shown.
inline void OnNext(std::function<void(QDialog*)> act)
{
    QTimer::singleShot(0, [act] {
        auto* dialog = qobject_cast<QDialog*>(QApplication::activeModalWidget());
        ASSERT_NE(dialog, nullptr);
        act(dialog);
    });
}

inline void ClickButton(QDialog* dialog, QDialogButtonBox::StandardButton which)
{
    auto* box = dialog->findChild<QDialogButtonBox*>();
    ASSERT_NE(box, nullptr);
    QTest::mouseClick(box->button(which), Qt::LeftButton);
}

/// The filter dialog's limit of measurement @p name: column 1 the minimum, 2 the maximum.
inline QDoubleSpinBox* FilterLimit(QDialog* dialog, const QString& name, int column)
{
    auto* table = dialog->findChild<QTableWidget*>("filterTable");
    for (int row = 0; row < table->rowCount(); ++row)
        if (static_cast<QCheckBox*>(table->cellWidget(row, 0))->text().startsWith(name))
            return static_cast<QDoubleSpinBox*>(table->cellWidget(row, column));
    return nullptr;
}

} // namespace dialogs
