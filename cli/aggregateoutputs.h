#pragma once

// The batch-wide data files, written as the batch goes: the summary, the
// JSON Lines, the table of every object and the results database. Opened
// before the first image, fed each result in input order, closed at the end;
// an interrupted run keeps every image handed over before.

#include "batchplan.h"
#include "checkedfile.h"
#include "imageresult.h"
#include "overview.h"
#include "resultsdatabase.h"
#include "settings.h"

#include <QList>
#include <QSet>
#include <QString>
#include <QStringList>

#include <memory>

class AggregateOutputs
{
public:
    AggregateOutputs(const OutputRequest& request, const CountSettings& settings);
    ~AggregateOutputs();

    /// Opens every file asked for; the reasons of those that failed go to
    /// @p errors.
    bool Open(QStringList* errors);
    /// @p items without the images that the database holds as counted.
    QList<BatchItem> WithoutCounted(const QList<BatchItem>& items, QStringList* errors) const;
    /// Writes one image, @p index its 1-based input position. An output that
    /// fails is reported once in @p errors and not written to again.
    void Add(const ImageResult& result, int index, QStringList* errors);
    /// Marks the files of a batch that did not run to its end: the tables
    /// end with a line "# incomplete: NOTE", the JSON Lines with a record
    /// {"incomplete": true, "note": NOTE}.
    void MarkIncomplete(const QString& note, QStringList* errors);
    /// Closes everything; true if every file is complete.
    bool Close(QStringList* errors);

private:
    /// A file grown piece by piece, or standard output for "-".
    struct Stream
    {
        QString path;
        checkedfile::AppendFile file;
        bool failed = false;
        bool Open(const QByteArray& header, QString* error);
        bool Append(const QByteArray& data, QString* error);
    };
    void Append(Stream& stream, const QByteArray& data, QStringList* errors);

    OutputRequest request_;
    CountSettings settings_;
    std::unique_ptr<Stream> summary_;
    std::unique_ptr<Stream> jsonl_;
    std::unique_ptr<Stream> objects_;
    ResultsDatabase database_;
    std::unique_ptr<overview::Page> overview_;
    bool overviewFailed_ = false;
    QString incomplete_;
    void WriteOverview(QStringList* errors);
    bool databaseFailed_ = false;
    bool ok_ = true;
};
