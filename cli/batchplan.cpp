#include "batchplan.h"

#include "imageinput.h"

#include <QDir>
#include <QDirIterator>
#include <QFileInfo>
#include <QHash>
#include <QSet>

#include <algorithm>

namespace batchplan {

bool IsStream(const QString& path)
{
    if (path == QLatin1String("-"))
        return true;
    const QFileInfo info(path);
    if (info.absoluteFilePath().startsWith(QLatin1String("/dev/")))
        return true;
    return info.exists() && !info.isFile() && !info.isDir();
}

namespace {

/// A path in a form that two spellings of the same file share.
QString Identity(const QString& path)
{
    const QFileInfo info(path);
    const QString canonical = info.canonicalFilePath();
    if (!canonical.isEmpty())
        return canonical;
    // Not there yet: resolve the folder, which may exist.
    const QString folder = info.absoluteDir().canonicalPath();
    return folder.isEmpty() ? QDir::cleanPath(info.absoluteFilePath())
                            : folder + QLatin1Char('/') + info.fileName();
}

} // namespace

bool NaturalLess(const QString& a, const QString& b)
{
    int i = 0;
    int j = 0;
    while (i < a.size() && j < b.size()) {
        if (a[i].isDigit() && b[j].isDigit()) {
            // Compare the two numbers by value: without leading zeros, the
            // longer is larger; of equal length, the first differing digit.
            int ei = i;
            int ej = j;
            while (ei < a.size() && a[ei].isDigit())
                ++ei;
            while (ej < b.size() && b[ej].isDigit())
                ++ej;
            int si = i;
            int sj = j;
            while (si < ei - 1 && a[si] == QLatin1Char('0'))
                ++si;
            while (sj < ej - 1 && b[sj] == QLatin1Char('0'))
                ++sj;
            if (ei - si != ej - sj)
                return ei - si < ej - sj;
            for (int k = 0; k < ei - si; ++k)
                if (a[si + k] != b[sj + k])
                    return a[si + k] < b[sj + k];
            // Equal values: fewer leading zeros first, then go on.
            if (ei - i != ej - j)
                return ei - i < ej - j;
            i = ei;
            j = ej;
            continue;
        }
        if (a[i] != b[j])
            return a[i] < b[j];
        ++i;
        ++j;
    }
    return a.size() - i < b.size() - j;
}

QStringList ExpandInputs(const QStringList& arguments, QStringList* problems, bool recursive,
                         QStringList* skipped)
{
    QStringList files;
    for (const QString& argument : arguments) {
        const QFileInfo info(argument);
        if (!info.isDir()) {
            files << argument;
            continue;
        }
        // Every file of the folder with an image suffix, also those that
        // cannot be read (a dangling link, no permission, a FIFO): each is
        // then named with its reason rather than left out in silence.
        const QDir folder(argument);
        const QDir absolute(info.absoluteFilePath());
        QStringList names;
        QDirIterator entries(argument, QDir::Files | QDir::System,
                             recursive ? QDirIterator::Subdirectories
                                       : QDirIterator::NoIteratorFlags);
        while (entries.hasNext()) {
            entries.next();
            const QString name = absolute.relativeFilePath(entries.fileInfo().absoluteFilePath());
            if (HasImageSuffix(name))
                names << name;
            else if (skipped)
                *skipped << QStringLiteral("%1: skipped, not an image file name")
                                .arg(QDir::cleanPath(folder.filePath(name)));
        }
        // Natural order, the same on every machine, whatever the locale.
        std::sort(names.begin(), names.end(), NaturalLess);
        if (names.isEmpty() && problems)
            *problems << QStringLiteral("%1: no image files").arg(argument);
        for (const QString& name : names)
            files << QDir::cleanPath(folder.filePath(name));
    }
    return files;
}

QStringList ExpandPages(const QStringList& files, int page)
{
    if (page != InputSettings::kAllPages)
        return files;
    QStringList expanded;
    for (const QString& file : files) {
        const int pages = PageCount(file);
        if (pages <= 1) {
            expanded << file;
            continue;
        }
        for (int p = 1; p <= pages; ++p)
            expanded << PageName(file, p);
    }
    return expanded;
}

QPair<int, int> ParseShard(const QString& text)
{
    const QStringList parts = text.split(QLatin1Char('/'));
    bool okIndex = false;
    bool okCount = false;
    const int index = parts.value(0).toInt(&okIndex);
    const int count = parts.value(1).toInt(&okCount);
    if (parts.size() != 2 || !okIndex || !okCount || count < 1 || index < 1 || index > count)
        throw UsageError(QStringLiteral("--shard"),
                         QStringLiteral("expected I/N with 1 ≤ I ≤ N, got '%1'").arg(text));
    return {index, count};
}

QString ExpandPattern(const QString& pattern, const QString& file, int index)
{
    QString path = pattern;
    QString whole;
    int page = 0;
    SplitPage(file, whole, page);
    const QString stem = QFileInfo(whole).completeBaseName();
    path.replace(QLatin1String("{stem}"),
                 page > 0 ? QStringLiteral("%1[%2]").arg(stem).arg(page) : stem);
    path.replace(QLatin1String("{index}"), QString::number(index));
    return path;
}

QList<BatchItem> Plan(const QStringList& files, const OutputRequest& request, QPair<int, int> shard)
{
    const bool several = files.size() > 1;
    const QList<QPair<QString, QString>> patterns = {
        {QStringLiteral("--report"), request.report},
        {QStringLiteral("--annotated"), request.annotated},
        {QStringLiteral("--table"), request.table},
        {QStringLiteral("--labels"), request.labels},
        {QStringLiteral("--geojson"), request.geojson}};
    for (const auto& pattern : patterns)
        if (several && !pattern.second.isEmpty() && !IsStream(pattern.second) &&
            !pattern.second.contains(QLatin1String("{stem}")) &&
            !pattern.second.contains(QLatin1String("{index}")))
            throw UsageError(pattern.first,
                             QStringLiteral("with several images the path needs {stem} or "
                                            "{index}, e.g. out/{stem}.xlsx"));

    QSet<QString> inputs;
    for (const QString& file : files) {
        QString whole;
        int page = 0;
        SplitPage(file, whole, page);
        inputs.insert(Identity(whole));
    }

    // Which option claimed each output file, over the whole list, so that a
    // clash is found whichever shard runs.
    QHash<QString, QString> claimed;
    auto claim = [&](const QString& option, const QString& path, const QString& file) {
        // Streams take any number of writers, one after the other.
        if (path.isEmpty() || IsStream(path))
            return;
        const QString id = Identity(path);
        if (inputs.contains(id))
            throw UsageError(option, QStringLiteral("%1 would overwrite an input image").arg(path));
        if (claimed.contains(id))
            throw UsageError(option, QStringLiteral("%1 is written twice (%2 and %3)")
                                         .arg(path, claimed.value(id), file));
        claimed.insert(id, file.isEmpty() ? option : file);
    };
    claim(QStringLiteral("--summary"), request.summary, QString());
    claim(QStringLiteral("--save-settings"), request.saveSettings, QString());
    claim(QStringLiteral("--jsonl"), request.jsonl, QString());
    claim(QStringLiteral("--objects"), request.objects, QString());
    claim(QStringLiteral("--sqlite"), request.sqlite, QString());

    QList<BatchItem> items;
    for (int i = 0; i < files.size(); ++i) {
        BatchItem item;
        item.file = files[i];
        item.index = i + 1;
        item.outputs.report = ExpandPattern(request.report, item.file, item.index);
        item.outputs.annotated = ExpandPattern(request.annotated, item.file, item.index);
        item.outputs.table = ExpandPattern(request.table, item.file, item.index);
        claim(QStringLiteral("--report"), item.outputs.report, item.file);
        claim(QStringLiteral("--annotated"), item.outputs.annotated, item.file);
        claim(QStringLiteral("--table"), item.outputs.table, item.file);
        item.outputs.labels = ExpandPattern(request.labels, item.file, item.index);
        item.outputs.geojson = ExpandPattern(request.geojson, item.file, item.index);
        item.outputs.thumbnail = !request.overview.isEmpty();
        claim(QStringLiteral("--labels"), item.outputs.labels, item.file);
        claim(QStringLiteral("--geojson"), item.outputs.geojson, item.file);
        if (i % shard.second == shard.first - 1)
            items << item;
    }
    return items;
}

} // namespace batchplan
