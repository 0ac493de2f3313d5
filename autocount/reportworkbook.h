#pragma once

/**
 * @file reportworkbook.h
 * @brief The spreadsheet report as a function of its contents: a picture,
 * the object table and the statistics table, one worksheet each.
 */

#include "autocount/autocount_export.h"

#include <QImage>
#include <QList>
#include <QString>
#include <QStringList>

/**
 * @brief Writes the three-sheet report to @p path.
 *
 * The sheets are "Automatic Counting Image" (@p picture at A1, without a
 * physical resolution; nothing for a null picture), "Automatic Counting
 * Table" and "Automatic Counting Statistics" (row i, column j of the rows in
 * cell (i, j)). Failures are silent: the file at @p path is either replaced
 * completely or left as it was.
 */
AUTOCOUNT_EXPORT void WriteReportWorkbook(const QString& path, const QImage& picture,
                                          const QList<QStringList>& objectRows,
                                          const QList<QStringList>& statisticsRows);

/// The same report with the picture given as PNG bytes, inserted as they
/// are (nothing for empty bytes): a caller that encoded the picture already
/// does not pay for a second encoding.
AUTOCOUNT_EXPORT void WriteReportWorkbookPng(const QString& path, const QByteArray& png,
                                             const QList<QStringList>& objectRows,
                                             const QList<QStringList>& statisticsRows);
