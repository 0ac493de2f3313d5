#pragma once

// The results of a batch in an SQLite database: one row per run, image and
// object, written one transaction per image in WAL mode, so a run that is
// killed keeps every image that finished and can be resumed.
//
// Tables (see the README for every column):
//   runs(id, schema_version, tool_version, started, settings)
//   images(id, run_id -> runs, path, image_index, width, height, unit,
//          scale, count, error)
//   statistics(image_id -> images, measurement, mean, std_dev, min, max,
//              range, sum)
//   objects(image_id -> images, object, <every stable key>)

#include "imageresult.h"

#include <QByteArray>
#include <QSet>
#include <QString>

struct sqlite3;

class ResultsDatabase
{
public:
    ResultsDatabase() = default;
    ~ResultsDatabase();
    ResultsDatabase(const ResultsDatabase&) = delete;
    ResultsDatabase& operator=(const ResultsDatabase&) = delete;

    /// Opens or creates @p path, creates the tables that are missing and
    /// records a run with @p settingsJson. False with the reason otherwise.
    bool Open(const QString& path, const QByteArray& settingsJson, QString* error);
    /// The paths of the images already counted without error, in any run.
    QSet<QString> CountedImages(QString* error) const;
    /// Stores @p result, image @p index of the batch, in one transaction.
    bool Add(const ImageResult& result, int index, QString* error);
    /// Closes the database; false if that fails.
    bool Close(QString* error);

    bool isOpen() const { return db_ != nullptr; }

private:
    bool Execute(const char* sql, QString* error);
    QString Reason() const;

    sqlite3* db_ = nullptr;
    qint64 run_ = 0;
    QString path_;
};
