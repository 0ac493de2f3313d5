#include "sortableobjecttable.h"

#include <QHeaderView>

namespace {

/// The role that holds a row's object index, on the row's first cell.
constexpr int kIndexRole = Qt::UserRole + 1;

/// A cell that sorts by its number when it holds one, else by its text.
class NumberItem : public QTableWidgetItem
{
public:
    explicit NumberItem(const QString& text) : QTableWidgetItem(text)
    {
        value_ = text.toDouble(&numeric_);
        setTextAlignment(Qt::AlignRight | Qt::AlignVCenter);
    }

    bool operator<(const QTableWidgetItem& other) const override
    {
        const auto* number = dynamic_cast<const NumberItem*>(&other);
        if (number && numeric_ && number->numeric_)
            return value_ < number->value_;
        if (number && numeric_ != number->numeric_)
            return numeric_; // numbers before words
        return QTableWidgetItem::operator<(other);
    }

private:
    double value_ = 0.0;
    bool numeric_ = false;
};

} // namespace

SortableObjectTable::SortableObjectTable(QWidget* parent) : QTableWidget(parent)
{
    horizontalHeader()->setSortIndicatorShown(true);
    horizontalHeader()->setSortIndicator(0, Qt::AscendingOrder);
    setSortingEnabled(true);
}

void SortableObjectTable::SetRows(const QList<QStringList>& rows)
{
    // Filled unsorted, then sorted once by the column and order the user chose.
    setSortingEnabled(false);
    clear();
    if (rows.isEmpty()) {
        setRowCount(0);
        setColumnCount(0);
        setSortingEnabled(true);
        return;
    }
    setColumnCount(rows.first().size());
    setHorizontalHeaderLabels(rows.first());
    setRowCount(rows.size() - 1);
    for (int r = 1; r < rows.size(); ++r)
        for (int c = 0; c < rows[r].size(); ++c) {
            auto* item = new NumberItem(rows[r][c]);
            if (c == 0)
                item->setData(kIndexRole, r - 1);
            setItem(r - 1, c, item);
        }
    setSortingEnabled(true);
}

int SortableObjectTable::RowOf(int index) const
{
    for (int row = 0; row < rowCount(); ++row)
        if (IndexAt(row) == index)
            return row;
    return -1;
}

int SortableObjectTable::IndexAt(int row) const
{
    const QTableWidgetItem* first = item(row, 0);
    return first ? first->data(kIndexRole).toInt() : -1;
}
