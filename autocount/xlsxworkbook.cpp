#include "autocount/xlsxworkbook.h"

#include <QFile>
#include <QFileInfo>

#include <xlsxwriter.h>

#include <cstdio>

namespace {

/// Sheet limits of the file format (rows and columns, zero-based below these).
constexpr int kRowCount = 1048576;
constexpr int kColumnCount = 16384;

/// The file that a save to @p path replaces: the target of a symbolic link,
/// so that the link stays a link.
QString Destination(const QString& path)
{
    const QFileInfo info(path);
    return info.isSymLink() ? info.symLinkTarget() : path;
}

/// Hidden directory template in the destination's directory, so that the
/// finished file reaches its destination by a rename within one file system.
QString TempDirTemplate(const QString& path)
{
    const QFileInfo destination(path);
    return destination.absolutePath() + QStringLiteral("/.") + destination.fileName() +
           QStringLiteral(".XXXXXX");
}

} // namespace

XlsxWorkbook::XlsxWorkbook(const QString& path)
    : path_(Destination(path)), tempDir_(TempDirTemplate(path_))
{
    if (!tempDir_.isValid())
        return;
    tempPath_ = tempDir_.filePath(QFileInfo(path_).fileName());
    // libxlsxwriter opens the file itself, only when the workbook closes.
    workbook_ = workbook_new(QFile::encodeName(tempPath_).constData());
    good_ = workbook_ != nullptr;
}

XlsxWorkbook::~XlsxWorkbook()
{
    Abandon();
}

void XlsxWorkbook::AddWorksheet(const QString& name)
{
    if (!good_)
        return;
    // Refused names (too long, reserved characters, duplicates) give null.
    sheet_ = workbook_add_worksheet(workbook_, name.toUtf8().constData());
    good_ = sheet_ != nullptr;
}

void XlsxWorkbook::WriteString(int row, int column, const QString& text)
{
    if (!good_ || !sheet_ || !IsCell(row, column)) {
        good_ = false;
        return;
    }
    const lxw_error result =
        worksheet_write_string(sheet_, static_cast<lxw_row_t>(row), static_cast<lxw_col_t>(column),
                               text.toUtf8().constData(), nullptr);
    good_ = result == LXW_NO_ERROR;
}

void XlsxWorkbook::InsertPng(int row, int column, const QByteArray& png)
{
    if (!good_ || !sheet_ || !IsCell(row, column)) {
        good_ = false;
        return;
    }
    pictures_.push_back(png);
    const QByteArray& kept = pictures_.back();
    lxw_image_options options = {};
    options.x_scale = 1.0;
    options.y_scale = 1.0;
    const lxw_error result = worksheet_insert_image_buffer_opt(
        sheet_, static_cast<lxw_row_t>(row), static_cast<lxw_col_t>(column),
        reinterpret_cast<const unsigned char*>(kept.constData()), static_cast<size_t>(kept.size()),
        &options);
    good_ = result == LXW_NO_ERROR;
}

bool XlsxWorkbook::Commit()
{
    if (!workbook_)
        return false;
    // Closing writes the file and frees the workbook whatever the outcome.
    const lxw_error result = workbook_close(workbook_);
    workbook_ = nullptr;
    sheet_ = nullptr;
    pictures_.clear();
    if (!good_ || result != LXW_NO_ERROR) {
        good_ = false;
        return false;
    }
    if (QFileInfo::exists(path_))
        QFile::setPermissions(tempPath_, QFile::permissions(path_));
    // rename() replaces an existing destination in one step, so a reader sees
    // either the old report or the new one; QFile::rename would refuse to.
    if (std::rename(QFile::encodeName(tempPath_).constData(),
                    QFile::encodeName(path_).constData()) != 0) {
        good_ = false;
        return false;
    }
    return true;
}

bool XlsxWorkbook::IsCell(int row, int column) const
{
    return row >= 0 && row < kRowCount && column >= 0 && column < kColumnCount;
}

void XlsxWorkbook::Abandon()
{
    if (workbook_) {
        // The only public way to free a workbook is to close it; what it
        // writes goes into the private directory, removed with it below.
        workbook_close(workbook_);
        workbook_ = nullptr;
    }
    sheet_ = nullptr;
    pictures_.clear();
    good_ = false;
    tempDir_.remove();
}
