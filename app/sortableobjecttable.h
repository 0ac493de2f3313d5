#pragma once

#include <QList>
#include <QStringList>
#include <QTableWidget>

/**
 * @brief The object table: one row per valid object, sortable by any
 * column (numbers as numbers), every row keeping its object's index, so
 * that the module's numbering and the selection on the image stay right
 * whatever the order shown.
 */
class SortableObjectTable : public QTableWidget
{
    Q_OBJECT
public:
    explicit SortableObjectTable(QWidget* parent = nullptr);

    /// Shows @p rows: a header, then one row per object in index order. The
    /// order the user chose stays.
    void SetRows(const QList<QStringList>& rows);
    /// The row that shows object @p index, or -1.
    int RowOf(int index) const;
    /// The object shown in @p row, or -1.
    int IndexAt(int row) const;
};
