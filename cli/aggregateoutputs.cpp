#include "aggregateoutputs.h"

#include "tablewriters.h"

#include <QJsonDocument>
#include <QJsonObject>

bool AggregateOutputs::Stream::Open(const QByteArray& header, QString* error)
{
    if (path == QLatin1String("-"))
        return checkedfile::WriteStdout(header, error);
    return file.Open(path, header, error);
}

bool AggregateOutputs::Stream::Append(const QByteArray& data, QString* error)
{
    if (path == QLatin1String("-"))
        return checkedfile::WriteStdout(data, error);
    return file.Append(data, error);
}

AggregateOutputs::AggregateOutputs(const OutputRequest& request, const CountSettings& settings)
    : request_(request), settings_(settings)
{
}

AggregateOutputs::~AggregateOutputs() = default;

bool AggregateOutputs::Open(QStringList* errors)
{
    auto open = [&](const QString& path, const QByteArray& header) {
        std::unique_ptr<Stream> stream;
        if (path.isEmpty())
            return stream;
        stream = std::make_unique<Stream>();
        stream->path = path;
        QString error;
        if (!stream->Open(header, &error)) {
            stream->failed = true;
            ok_ = false;
            *errors << error;
        }
        return stream;
    };
    summary_ = open(request_.summary, outputs::SummaryCsvHeader(settings_.unit));
    jsonl_ = open(request_.jsonl, QByteArray());
    if (!request_.overview.isEmpty()) {
        overview_ = std::make_unique<overview::Page>(settings_.unit);
        WriteOverview(errors);
    }
    objects_ = open(request_.objects, outputs::ObjectsCsvHeader(settings_.unit));
    if (!request_.sqlite.isEmpty()) {
        QString error;
        const QByteArray json =
            QJsonDocument(countsettings::ToJson(settings_)).toJson(QJsonDocument::Compact);
        if (!database_.Open(request_.sqlite, json, &error)) {
            databaseFailed_ = true;
            ok_ = false;
            *errors << error;
        }
    }
    return ok_;
}

QList<BatchItem> AggregateOutputs::WithoutCounted(const QList<BatchItem>& items,
                                                  QStringList* errors) const
{
    if (!database_.isOpen())
        return items;
    QString error;
    const QSet<QString> counted = database_.CountedImages(&error);
    if (!error.isEmpty())
        *errors << error;
    QList<BatchItem> remaining;
    for (const BatchItem& item : items)
        if (!counted.contains(item.file))
            remaining << item;
    return remaining;
}

void AggregateOutputs::Append(Stream& stream, const QByteArray& data, QStringList* errors)
{
    if (stream.failed || data.isEmpty())
        return;
    QString error;
    if (!stream.Append(data, &error)) {
        stream.failed = true;
        ok_ = false;
        *errors << error;
    }
}

void AggregateOutputs::WriteOverview(QStringList* errors)
{
    // The whole page again after every image: small, and whole at any time.
    if (!overview_ || overviewFailed_)
        return;
    QString error;
    if (!checkedfile::Write(request_.overview, overview_->Html(incomplete_), &error)) {
        overviewFailed_ = true;
        ok_ = false;
        *errors << error;
    }
}

void AggregateOutputs::Add(const ImageResult& result, int index, QStringList* errors)
{
    if (overview_) {
        overview::Entry entry;
        entry.file = result.file;
        entry.index = index;
        entry.error = result.error;
        entry.count = result.count;
        entry.meanArea = result.meanArea.value_or(0.0);
        entry.thumbnail = result.thumbnail;
        // The thumbnail links to the annotated picture, when one was written.
        const QString picture =
            request_.annotated.isEmpty()
                ? QString()
                : batchplan::ExpandPattern(request_.annotated, result.file, index);
        if (result.outputs.contains(picture))
            entry.picture = picture;
        std::vector<double> areas;
        for (const objectdata::Row& row : result.objects)
            areas.push_back(row[objectdata::kArea]);
        overview_->Add(entry, areas);
        WriteOverview(errors);
    }
    if (summary_)
        Append(*summary_, outputs::SummaryCsvRow(result, index), errors);
    if (jsonl_)
        Append(*jsonl_, imageresult::DataRecord(result, index) + '\n', errors);
    if (objects_)
        Append(*objects_, outputs::ObjectsCsvRows(result, index), errors);
    if (database_.isOpen() && !databaseFailed_) {
        QString error;
        if (!database_.Add(result, index, &error)) {
            databaseFailed_ = true;
            ok_ = false;
            *errors << error;
        }
    }
}

void AggregateOutputs::MarkIncomplete(const QString& note, QStringList* errors)
{
    incomplete_ = note;
    WriteOverview(errors);
    const QByteArray line = QStringLiteral("# incomplete: %1\n").arg(note).toUtf8();
    for (Stream* stream : {summary_.get(), objects_.get()})
        if (stream)
            Append(*stream, line, errors);
    if (jsonl_)
        Append(*jsonl_,
               QJsonDocument(QJsonObject{{"incomplete", true}, {"note", note}})
                       .toJson(QJsonDocument::Compact) +
                   '\n',
               errors);
}

bool AggregateOutputs::Close(QStringList* errors)
{
    for (Stream* stream : {summary_.get(), jsonl_.get(), objects_.get()}) {
        if (!stream || stream->failed || !stream->file.isOpen())
            continue;
        QString error;
        if (!stream->file.Close(&error)) {
            ok_ = false;
            *errors << error;
        }
    }
    QString error;
    if (!database_.Close(&error)) {
        ok_ = false;
        *errors << error;
    }
    return ok_;
}
