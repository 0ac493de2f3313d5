#pragma once

// A spreadsheet workbook written with libxlsxwriter, all or nothing: the
// workbook is built in a private directory beside its destination and moved
// over the destination only once it is complete.

#include <QByteArray>
#include <QString>
#include <QTemporaryDir>

#include <list>

struct lxw_workbook;
struct lxw_worksheet;

class XlsxWorkbook
{
public:
    /// Starts a workbook that Commit() will save to @p path (to its target
    /// when @p path is a symbolic link).
    explicit XlsxWorkbook(const QString& path);
    /// Discards the workbook unless it was committed; @p path stays as it was.
    ~XlsxWorkbook();

    XlsxWorkbook(const XlsxWorkbook&) = delete;
    XlsxWorkbook& operator=(const XlsxWorkbook&) = delete;

    /// False once any step has failed; later steps then do nothing and
    /// Commit() leaves the destination untouched.
    bool IsGood() const { return good_; }

    /// Appends a worksheet named @p name; it becomes the current one.
    void AddWorksheet(const QString& name);

    /// Writes @p text as a string cell without a format into the current
    /// worksheet, at zero-based @p row and @p column. An empty text leaves
    /// the cell blank.
    void WriteString(int row, int column, const QString& text);

    /// Places the PNG picture @p png in the current worksheet with its top
    /// left corner at zero-based @p row and @p column, one picture pixel per
    /// screen pixel. The picture is read when the workbook is committed.
    void InsertPng(int row, int column, const QByteArray& png);

    /// Finishes the file and moves it to the destination, replacing what was
    /// there (keeping its permissions). Returns false, with the destination
    /// untouched and nothing left behind, when any step failed.
    bool Commit();

private:
    bool IsCell(int row, int column) const;
    void Abandon();

    QString path_;
    QTemporaryDir tempDir_;
    QString tempPath_;
    lxw_workbook* workbook_ = nullptr;
    lxw_worksheet* sheet_ = nullptr;
    std::list<QByteArray> pictures_; // read by libxlsxwriter only when the workbook closes
    bool good_ = false;
};
