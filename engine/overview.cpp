#include "overview.h"

#include <QFileInfo>

#include <algorithm>
#include <cmath>

namespace overview {

namespace {

double Median(std::vector<double> values)
{
    if (values.empty())
        return 0;
    const size_t middle = values.size() / 2;
    std::nth_element(values.begin(), values.begin() + middle, values.end());
    const double upper = values[middle];
    if (values.size() % 2)
        return upper;
    return (*std::max_element(values.begin(), values.begin() + middle) + upper) / 2;
}

QString Escaped(const QString& text)
{
    return text.toHtmlEscaped();
}

/// Bars of @p values as an inline SVG, @p labels under them on hover.
QString Bars(const std::vector<double>& values, const QStringList& labels, const QString& title)
{
    const double width = 640;
    const double height = 160;
    const double top = values.empty() ? 1 : *std::max_element(values.begin(), values.end());
    const double bar = values.empty() ? 0 : width / values.size();
    QString svg =
        QStringLiteral("<svg viewBox=\"0 0 %1 %2\" width=\"%1\" height=\"%2\" role=\"img\" "
                       "aria-label=\"%3\">")
            .arg(width)
            .arg(height + 20)
            .arg(Escaped(title));
    for (size_t i = 0; i < values.size(); ++i) {
        const double h = top > 0 ? values[i] / top * height : 0;
        svg += QStringLiteral("<rect x=\"%1\" y=\"%2\" width=\"%3\" height=\"%4\" fill=\"#4a7ab8\">"
                              "<title>%5</title></rect>")
                   .arg(i * bar, 0, 'f', 2)
                   .arg(height - h, 0, 'f', 2)
                   .arg(std::max(bar - 1, 1.0), 0, 'f', 2)
                   .arg(h, 0, 'f', 2)
                   .arg(Escaped(labels.value(static_cast<int>(i))));
    }
    svg += QStringLiteral("<text x=\"0\" y=\"%1\" font-size=\"12\">%2 (largest %3)</text></svg>")
               .arg(height + 16)
               .arg(Escaped(title))
               .arg(top);
    return svg;
}

} // namespace

double Deviations(double value, std::vector<double> values)
{
    if (values.size() < 3)
        return 0;
    const double median = Median(values);
    for (double& v : values)
        v = std::abs(v - median);
    const double spread = 1.4826 * Median(values);
    if (spread > 0)
        return (value - median) / spread;
    // Most images alike: any that differs lies infinitely far.
    return value == median ? 0 : std::copysign(HUGE_VAL, value - median);
}

void Page::Add(const Entry& entry, const std::vector<double>& areas)
{
    entries_ << entry;
    areas_.insert(areas_.end(), areas.begin(), areas.end());
}

QByteArray Page::Html(const QString& incomplete) const
{
    std::vector<double> counts;
    std::vector<double> means;
    QStringList names;
    for (const Entry& e : entries_) {
        if (!e.error.isEmpty())
            continue;
        counts.push_back(e.count);
        means.push_back(e.meanArea);
        names << QStringLiteral("%1: %2").arg(e.file).arg(e.count);
    }

    // The size distribution: 30 bins from 0 to the largest area.
    std::vector<double> bins(30, 0.0);
    const double largest = areas_.empty() ? 0 : *std::max_element(areas_.begin(), areas_.end());
    for (double a : areas_)
        bins[largest > 0 ? std::min<size_t>(29, static_cast<size_t>(a / largest * 30)) : 0] += 1;
    QStringList binLabels;
    for (int b = 0; b < 30; ++b)
        binLabels << QStringLiteral("%1 to %2 %3²: %4")
                         .arg(largest * b / 30, 0, 'g', 4)
                         .arg(largest * (b + 1) / 30, 0, 'g', 4)
                         .arg(unit_)
                         .arg(bins[b]);

    QString html = QStringLiteral(
        "<!DOCTYPE html><html><head><meta charset=\"utf-8\"><title>AutoCount batch "
        "overview</title><style>body{font-family:sans-serif;margin:1em}"
        ".images{display:flex;flex-wrap:wrap;gap:8px}.image{border:2px solid #ccc;padding:4px;"
        "width:244px;font-size:12px}.flagged{border-color:#d33}.error{color:#d33}"
        "img{max-width:240px;display:block}</style></head><body>");
    html += QStringLiteral("<h1>Batch overview</h1><p>%1 images, %2 objects</p>")
                .arg(entries_.size())
                .arg(areas_.size());
    if (!incomplete.isEmpty())
        html += QStringLiteral("<p class=\"error\">Incomplete: %1</p>").arg(Escaped(incomplete));
    html += QStringLiteral("<p>An image is flagged when its count or mean area lies more than %1 "
                           "scaled median absolute deviations from the batch's median.</p>")
                .arg(kFlagDeviations);
    html += Bars(counts, names, QStringLiteral("objects per image")) + QStringLiteral("<br>");
    html += Bars(bins, binLabels, QStringLiteral("object areas (%1²)").arg(unit_));
    html += QStringLiteral("<div class=\"images\">");
    for (const Entry& e : entries_) {
        QString note;
        if (e.error.isEmpty()) {
            const double byCount = Deviations(e.count, counts);
            const double byArea = Deviations(e.meanArea, means);
            if (std::abs(byCount) > kFlagDeviations)
                note =
                    QStringLiteral("count %1 deviations from the median").arg(byCount, 0, 'f', 1);
            else if (std::abs(byArea) > kFlagDeviations)
                note = QStringLiteral("mean area %1 deviations from the median")
                           .arg(byArea, 0, 'f', 1);
        }
        html += QStringLiteral("<div class=\"image%1\" id=\"image%2\">")
                    .arg(note.isEmpty() ? QString() : QStringLiteral(" flagged"))
                    .arg(e.index);
        QString thumbnail;
        if (!e.thumbnail.isEmpty())
            thumbnail = QStringLiteral("<img alt=\"%1\" src=\"data:image/jpeg;base64,%2\">")
                            .arg(Escaped(e.file), QString::fromLatin1(e.thumbnail.toBase64()));
        if (!thumbnail.isEmpty() && !e.picture.isEmpty())
            thumbnail = QStringLiteral("<a href=\"%1\">%2</a>")
                            .arg(Escaped(QFileInfo(e.picture).absoluteFilePath()), thumbnail);
        html += thumbnail;
        html += QStringLiteral("<div>%1. %2</div>").arg(e.index).arg(Escaped(e.file));
        if (!e.error.isEmpty())
            html += QStringLiteral("<div class=\"error\">%1</div>").arg(Escaped(e.error));
        else
            html += QStringLiteral("<div>%1 objects, mean area %2 %3²</div>")
                        .arg(e.count)
                        .arg(e.meanArea, 0, 'g', 6)
                        .arg(Escaped(unit_));
        if (!note.isEmpty())
            html += QStringLiteral("<div class=\"error\">flagged: %1</div>").arg(note);
        html += QStringLiteral("</div>");
    }
    html += QStringLiteral("</div></body></html>\n");
    return html.toUtf8();
}

} // namespace overview
