#include "resultspanel.h"

#include "countingsession.h"
#include "handmarks.h"
#include "resultoverlay.h"
#include "sizedistributionchart.h"
#include "sortableobjecttable.h"

#include "autocount/autocountmanager.h"

#include <QCheckBox>
#include <QComboBox>
#include <QFormLayout>
#include <QGridLayout>
#include <QHeaderView>
#include <QLabel>
#include <QPushButton>
#include <QSignalBlocker>
#include <QTabWidget>
#include <QTableWidget>
#include <QVBoxLayout>

namespace {

template <class Table = QTableWidget> Table* MakeTable(const QString& name)
{
    auto* table = new Table;
    table->setObjectName(name);
    table->setEditTriggers(QAbstractItemView::NoEditTriggers);
    table->setSelectionBehavior(QAbstractItemView::SelectRows);
    table->setSelectionMode(QAbstractItemView::SingleSelection);
    table->verticalHeader()->setVisible(false);
    table->horizontalHeader()->setSectionResizeMode(QHeaderView::ResizeToContents);
    return table;
}

QPushButton* MakeButton(const QString& text, const QString& name, const QString& tip)
{
    auto* button = new QPushButton(text);
    button->setObjectName(name);
    button->setToolTip(tip);
    return button;
}

} // namespace

ResultsPanel::ResultsPanel(CountingSession* session, QWidget* parent)
    : QWidget(parent), session_(session), count_(new QLabel), tabs_(new QTabWidget),
      objects_(MakeTable<SortableObjectTable>("objectTable")),
      statistics_(MakeTable("statisticsTable")), distribution_(new SizeDistributionChart),
      displayMode_(new QComboBox),
      delete_(MakeButton(tr("&Delete Object"), "deleteObjectButton",
                         tr("Remove the selected object from the result"))),
      overlay_(new ResultOverlay(session, this))
{
    auto* layout = new QVBoxLayout(this);
    count_->setObjectName("countLabel");
    QFont big = count_->font();
    big.setPointSizeF(big.pointSizeF() * 1.5);
    big.setBold(true);
    count_->setFont(big);
    layout->addWidget(count_);

    statistics_->setSelectionMode(QAbstractItemView::NoSelection);
    tabs_->setObjectName("resultTabs");
    tabs_->addTab(objects_, tr("Objects"));
    tabs_->addTab(statistics_, tr("Statistics"));
    tabs_->addTab(distribution_, tr("Distribution"));
    layout->addWidget(tabs_, 1);

    displayMode_->setObjectName("displayModeCombo");
    displayMode_->addItem(tr("Outlines"), 0);
    displayMode_->addItem(tr("Filled"), 1);
    displayMode_->setToolTip(tr("Draw the objects as outlines or filled"));
    auto* form = new QFormLayout;
    auto* seeThrough = new QCheckBox(tr("See-through"));
    seeThrough->setObjectName("seeThroughCheck");
    seeThrough->setChecked(overlay_->SeeThroughSelection());
    seeThrough->setToolTip(tr("Outline the selected object instead of covering it, so that "
                              "it can be checked against the picture"));
    connect(seeThrough, &QCheckBox::toggled, overlay_, &ResultOverlay::SetSeeThroughSelection);
    form->addRow(tr("Show objects as:"), displayMode_);
    layout->addLayout(form);

    auto* filter = MakeButton(tr("Fil&ter…"), "filterButton",
                              tr("Choose the measurements that select objects and their ranges"));
    auto* appearance = MakeButton(tr("&Appearance…"), "appearanceButton",
                                  tr("Font, colours and line width of the outlines and numbers"));
    auto* report = MakeButton(tr("Export &Report…"), "exportReportButton",
                              tr("Save the image, the object table and the statistics as a "
                                 "spreadsheet"));
    auto* image = MakeButton(tr("Export &Image…"), "exportImageButton",
                             tr("Save the image with the numbered outlines as PNG"));
    auto* buttons = new QGridLayout;
    buttons->addWidget(filter, 0, 0);
    buttons->addWidget(delete_, 0, 1);
    buttons->addWidget(appearance, 1, 0);
    // Beside Appearance, not in a row of its own: the actions stay in sight.
    buttons->addWidget(seeThrough, 1, 1);
    buttons->addWidget(report, 2, 0);
    buttons->addWidget(image, 2, 1);
    layout->addLayout(buttons);

    connect(filter, &QPushButton::clicked, this, &ResultsPanel::filterRequested);
    connect(appearance, &QPushButton::clicked, this, &ResultsPanel::appearanceRequested);
    connect(report, &QPushButton::clicked, this, &ResultsPanel::exportReportRequested);
    connect(image, &QPushButton::clicked, this, &ResultsPanel::exportImageRequested);
    connect(delete_, &QPushButton::clicked, this, &ResultsPanel::DeleteSelected);
    connect(displayMode_, QOverload<int>::of(&QComboBox::activated), this,
            [this](int row) { session_->SetDisplayMode(displayMode_->itemData(row).toInt()); });
    connect(objects_, &QTableWidget::itemSelectionChanged, this, &ResultsPanel::RowActivated);
    connect(objects_, &QTableWidget::cellClicked, this, [this] { RowActivated(); });
    connect(session_, &CountingSession::objectHighlighted, this, &ResultsPanel::SelectRow);
}

QTableWidget* ResultsPanel::ObjectTable() const
{
    return objects_;
}

void ResultsPanel::Fill(QTableWidget* table, const QList<QStringList>& rows)
{
    table->clear();
    if (rows.isEmpty()) {
        table->setRowCount(0);
        table->setColumnCount(0);
        return;
    }
    table->setColumnCount(rows.first().size());
    table->setHorizontalHeaderLabels(rows.first());
    table->setRowCount(rows.size() - 1);
    for (int r = 1; r < rows.size(); ++r)
        for (int c = 0; c < rows[r].size(); ++c) {
            auto* item = new QTableWidgetItem(rows[r][c]);
            item->setTextAlignment(Qt::AlignRight | Qt::AlignVCenter);
            table->setItem(r - 1, c, item);
        }
}

void ResultsPanel::Refresh()
{
    AutoCountManager* manager = session_->Manager();
    QList<QStringList> objectRows;
    manager->GetObjectData(objectRows);
    QList<QStringList> statisticRows;
    manager->GetStatisticsData(statisticRows);
    {
        const QSignalBlocker block(objects_);
        selecting_ = true;
        QList<QStringList> listed = objectRows;
        session_->Hand()->AppendRows(listed);
        objects_->SetRows(listed);
        selecting_ = false;
    }
    Fill(statistics_, statisticRows);
    distribution_->SetTable(objectRows);
    const int count = session_->TotalCount();
    count_->setText(count == 1 ? tr("1 object") : tr("%1 objects").arg(count));
    {
        const QSignalBlocker block(displayMode_);
        displayMode_->setCurrentIndex(AutoCountManager::displayMode == 0 ? 0 : 1);
    }
    SelectRow(session_->HighlightedObject());
}

void ResultsPanel::SelectRow(int index)
{
    if (selecting_)
        return;
    selecting_ = true;
    const int row = objects_->RowOf(index);
    if (row >= 0) {
        objects_->selectRow(row);
        objects_->scrollToItem(objects_->item(row, 0));
    } else {
        objects_->clearSelection();
    }
    delete_->setEnabled(index >= 0);
    selecting_ = false;
}

void ResultsPanel::RowActivated()
{
    if (selecting_)
        return;
    const auto selected = objects_->selectionModel()->selectedRows();
    const int index =
        objects_->IndexAt(selected.isEmpty() ? objects_->currentRow() : selected.first().row());
    if (index < 0 || index == session_->HighlightedObject()) {
        delete_->setEnabled(index >= 0);
        return;
    }
    selecting_ = true;
    session_->HighlightObject(index);
    selecting_ = false;
    delete_->setEnabled(true);
}

void ResultsPanel::DeleteSelected()
{
    const int index = session_->HighlightedObject();
    if (index < 0)
        return;
    session_->DeleteObject(index);
}
