#include "resultsdatabase.h"

#include "objectdata.h"

#include <QDateTime>

#include <cmath>

#include <sqlite3.h>

namespace {

/// A prepared statement that finalizes itself.
class Statement
{
public:
    Statement(sqlite3* db, const QByteArray& sql)
    {
        sqlite3_prepare_v2(db, sql.constData(), sql.size(), &stmt_, nullptr);
    }
    ~Statement() { sqlite3_finalize(stmt_); }
    Statement(const Statement&) = delete;
    Statement& operator=(const Statement&) = delete;

    sqlite3_stmt* get() const { return stmt_; }
    bool ok() const { return stmt_ != nullptr; }

    void Bind(int i, const QString& text)
    {
        const QByteArray utf8 = text.toUtf8();
        sqlite3_bind_text(stmt_, i, utf8.constData(), utf8.size(), SQLITE_TRANSIENT);
    }
    void BindNull(int i) { sqlite3_bind_null(stmt_, i); }
    void Bind(int i, qint64 value) { sqlite3_bind_int64(stmt_, i, value); }
    /// A double as a REAL, a whole-number column as an INTEGER; NaN as NULL.
    void BindNumber(int i, double value, bool integer)
    {
        if (value != value)
            sqlite3_bind_null(stmt_, i);
        else if (integer)
            sqlite3_bind_int64(stmt_, i, static_cast<sqlite3_int64>(value));
        else
            sqlite3_bind_double(stmt_, i, value);
    }
    void BindOptional(int i, const std::optional<double>& value)
    {
        if (value && *value == *value)
            sqlite3_bind_double(stmt_, i, *value);
        else
            sqlite3_bind_null(stmt_, i);
    }
    /// Runs the statement to its end and resets it for the next bindings.
    bool Run()
    {
        const int rc = sqlite3_step(stmt_);
        sqlite3_reset(stmt_);
        sqlite3_clear_bindings(stmt_);
        return rc == SQLITE_DONE || rc == SQLITE_ROW;
    }

private:
    sqlite3_stmt* stmt_ = nullptr;
};

QByteArray Schema()
{
    QByteArray objects;
    for (int c = 1; c < objectdata::kColumnCount; ++c)
        objects += QByteArray(",\n    ") + objectdata::Keys()[c] +
                   (objectdata::IsInteger(c) ? " INTEGER" : " REAL");
    QByteArray preparations;
    for (const auto& [key, value] : preparation::Figures(preparation::Report()))
        preparations += QByteArray(",\n    ") + key + " REAL";
    return "CREATE TABLE IF NOT EXISTS runs (\n"
           "    id INTEGER PRIMARY KEY,\n"
           "    schema_version INTEGER NOT NULL,\n"
           "    tool_version TEXT NOT NULL,\n"
           "    started TEXT NOT NULL,\n"
           "    settings TEXT NOT NULL);\n"
           "CREATE TABLE IF NOT EXISTS images (\n"
           "    id INTEGER PRIMARY KEY,\n"
           "    run_id INTEGER NOT NULL REFERENCES runs(id) ON DELETE CASCADE ON UPDATE CASCADE,\n"
           "    path TEXT NOT NULL,\n"
           "    image_index INTEGER NOT NULL,\n"
           "    width INTEGER,\n"
           "    height INTEGER,\n"
           "    unit TEXT,\n"
           "    scale REAL,\n"
           "    count INTEGER,\n"
           "    error TEXT);\n"
           "CREATE INDEX IF NOT EXISTS images_path ON images(path);\n"
           "CREATE INDEX IF NOT EXISTS images_run ON images(run_id);\n"
           "CREATE TABLE IF NOT EXISTS statistics (\n"
           "    image_id INTEGER NOT NULL REFERENCES images(id) ON DELETE CASCADE ON UPDATE "
           "CASCADE,\n"
           "    measurement TEXT NOT NULL,\n"
           "    mean REAL, std_dev REAL, min REAL, max REAL, range REAL, sum REAL,\n"
           "    PRIMARY KEY (image_id, measurement));\n"
           "CREATE TABLE IF NOT EXISTS dishes (\n"
           "    image_id INTEGER PRIMARY KEY REFERENCES images(id) ON DELETE CASCADE ON UPDATE "
           "CASCADE,\n"
           "    x REAL NOT NULL, y REAL NOT NULL, radius REAL NOT NULL);\n"
           "CREATE TABLE IF NOT EXISTS objects (\n"
           "    image_id INTEGER NOT NULL REFERENCES images(id) ON DELETE CASCADE ON UPDATE "
           "CASCADE,\n"
           "    object INTEGER NOT NULL" +
           objects +
           ",\n"
           "    PRIMARY KEY (image_id, object));\n"
           "CREATE TABLE IF NOT EXISTS object_channels (\n"
           "    image_id INTEGER NOT NULL REFERENCES images(id) ON DELETE CASCADE ON UPDATE "
           "CASCADE,\n"
           "    object INTEGER NOT NULL,\n"
           "    channel TEXT NOT NULL,\n"
           "    mean_gray REAL, integral REAL, max_gray REAL, min_gray REAL, std_dev REAL,\n"
           "    PRIMARY KEY (image_id, object, channel));\n"
           "CREATE TABLE IF NOT EXISTS preparations (\n"
           "    image_id INTEGER PRIMARY KEY REFERENCES images(id) ON DELETE CASCADE ON UPDATE "
           "CASCADE" +
           preparations + ");\n";
}

} // namespace

ResultsDatabase::~ResultsDatabase()
{
    Close(nullptr);
}

QString ResultsDatabase::Reason() const
{
    return QStringLiteral("%1: %2").arg(path_, QString::fromUtf8(sqlite3_errmsg(db_)));
}

bool ResultsDatabase::Execute(const char* sql, QString* error)
{
    char* message = nullptr;
    if (sqlite3_exec(db_, sql, nullptr, nullptr, &message) == SQLITE_OK)
        return true;
    if (error)
        *error = QStringLiteral("%1: %2").arg(path_, QString::fromUtf8(message ? message : "?"));
    sqlite3_free(message);
    return false;
}

bool ResultsDatabase::Open(const QString& path, const QByteArray& settingsJson, QString* error)
{
    path_ = path;
    if (sqlite3_open_v2(path.toUtf8().constData(), &db_, SQLITE_OPEN_READWRITE | SQLITE_OPEN_CREATE,
                        nullptr) != SQLITE_OK) {
        if (error)
            *error = db_ ? Reason() : path + QStringLiteral(": cannot open");
        sqlite3_close(db_);
        db_ = nullptr;
        return false;
    }
    sqlite3_busy_timeout(db_, 10000);
    // WAL: a commit is one append to the log, and a killed writer leaves
    // every committed image readable. synchronous=NORMAL keeps commits
    // atomic and durable against a crash of the program.
    if (!Execute("PRAGMA journal_mode=WAL; PRAGMA synchronous=NORMAL; PRAGMA foreign_keys=ON;",
                 error) ||
        !Execute(Schema().constData(), error)) {
        sqlite3_close(db_);
        db_ = nullptr;
        return false;
    }
    Statement run(db_, "INSERT INTO runs (schema_version, tool_version, started, settings) "
                       "VALUES (?, ?, ?, ?)");
    if (!run.ok()) {
        if (error)
            *error = Reason();
        return false;
    }
    run.Bind(1, static_cast<qint64>(objectdata::kSchemaVersion));
    run.Bind(2, QStringLiteral(AUTOCOUNT_VERSION));
    run.Bind(3, QDateTime::currentDateTimeUtc().toString(Qt::ISODate));
    run.Bind(4, QString::fromUtf8(settingsJson));
    if (!run.Run()) {
        if (error)
            *error = Reason();
        return false;
    }
    run_ = sqlite3_last_insert_rowid(db_);
    return true;
}

QSet<QString> ResultsDatabase::CountedImages(QString* error) const
{
    QSet<QString> paths;
    Statement select(db_, "SELECT DISTINCT path FROM images WHERE error IS NULL");
    if (!select.ok()) {
        if (error)
            *error = Reason();
        return paths;
    }
    while (sqlite3_step(select.get()) == SQLITE_ROW)
        paths.insert(
            QString::fromUtf8(reinterpret_cast<const char*>(sqlite3_column_text(select.get(), 0)),
                              sqlite3_column_bytes(select.get(), 0)));
    return paths;
}

bool ResultsDatabase::Add(const ImageResult& r, int index, QString* error)
{
    if (!db_)
        return false;
    if (!Execute("BEGIN IMMEDIATE", error))
        return false;
    bool ok = true;
    {
        Statement image(db_, "INSERT INTO images (run_id, path, image_index, width, height, unit, "
                             "scale, count, error) VALUES (?, ?, ?, ?, ?, ?, ?, ?, ?)");
        ok = image.ok();
        if (ok) {
            image.Bind(1, run_);
            image.Bind(2, r.file);
            image.Bind(3, static_cast<qint64>(index));
            if (r.ok()) {
                image.Bind(4, static_cast<qint64>(r.width));
                image.Bind(5, static_cast<qint64>(r.height));
                image.Bind(6, r.unit);
                image.BindNumber(7, r.scale, false);
                image.Bind(8, static_cast<qint64>(r.count));
                image.BindNull(9);
            } else {
                for (int i = 4; i <= 8; ++i)
                    image.BindNull(i);
                image.Bind(9, r.error);
            }
            ok = image.Run();
        }
        const qint64 id = sqlite3_last_insert_rowid(db_);

        Statement statistics(db_, "INSERT INTO statistics VALUES (?, ?, ?, ?, ?, ?, ?, ?)");
        ok = ok && statistics.ok();
        for (int t = 0; ok && r.ok() && t < r.statistics.size(); ++t) {
            const TypeStatistics& s = r.statistics[t];
            statistics.Bind(1, id);
            statistics.Bind(2, s.name);
            const auto values = s.values();
            for (int k = 0; k < 6; ++k)
                statistics.BindOptional(3 + k, values[k]);
            ok = statistics.Run();
        }

        if (ok && r.ok() && r.dish) {
            Statement dish(db_, "INSERT INTO dishes VALUES (?, ?, ?, ?)");
            ok = dish.ok();
            if (ok) {
                dish.Bind(1, id);
                dish.BindNumber(2, r.dish->x, false);
                dish.BindNumber(3, r.dish->y, false);
                dish.BindNumber(4, r.dish->radius, false);
                ok = dish.Run();
            }
        }

        QByteArray sql = "INSERT INTO objects VALUES (?";
        for (int c = 0; c < objectdata::kColumnCount; ++c)
            sql += ", ?";
        Statement objects(db_, sql + ')');
        ok = ok && objects.ok();
        for (size_t o = 0; ok && o < r.objects.size(); ++o) {
            objects.Bind(1, id);
            for (int c = 0; c < objectdata::kColumnCount; ++c)
                objects.BindNumber(2 + c, r.objects[o][c], objectdata::IsInteger(c));
            ok = objects.Run();
        }

        // The other planes: five values per plane, named by the plane.
        Statement channels(db_, "INSERT INTO object_channels VALUES (?, ?, ?, ?, ?, ?, ?, ?)");
        ok = ok && channels.ok();
        const int planes = static_cast<int>(r.channelKeys.size()) / 5;
        for (size_t o = 0; ok && o < r.channelRows.size(); ++o)
            for (int p = 0; ok && p < planes; ++p) {
                const std::vector<double>& row = r.channelRows[o];
                channels.Bind(1, id);
                channels.Bind(2, static_cast<qint64>(o + 1));
                channels.Bind(3, r.channelKeys[5 * p].mid(QStringLiteral("mean_gray_").size()));
                for (int k = 0; k < 5; ++k) {
                    const size_t at = static_cast<size_t>(5 * p + k);
                    channels.BindNumber(4 + k, at < row.size() ? row[at] : std::nan(""), false);
                }
                ok = channels.Run();
            }

        if (ok && r.ok() && r.preparation.ran) {
            const auto figures = preparation::Figures(r.preparation);
            QByteArray insert = "INSERT INTO preparations VALUES (?";
            for (size_t i = 0; i < figures.size(); ++i)
                insert += ", ?";
            Statement prepared(db_, insert + ')');
            ok = prepared.ok();
            if (ok) {
                prepared.Bind(1, id);
                for (size_t i = 0; i < figures.size(); ++i)
                    prepared.BindNumber(2 + static_cast<int>(i), figures[i].second, false);
                ok = prepared.Run();
            }
        }
    }
    if (!ok) {
        if (error)
            *error = Reason();
        Execute("ROLLBACK", nullptr);
        return false;
    }
    return Execute("COMMIT", error);
}

bool ResultsDatabase::Close(QString* error)
{
    if (!db_)
        return true;
    const int rc = sqlite3_close(db_);
    if (rc != SQLITE_OK && error)
        *error = Reason();
    db_ = nullptr;
    return rc == SQLITE_OK;
}
