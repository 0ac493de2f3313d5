#pragma once

// The system calls under checked file output, each result looked at: whole
// writes, syncs and closes, folder handling, error texts, and the table of
// open temporary files that a signal handler removes. Used by checkedfile
// and filetarget only.

#include <QString>

#include <cstddef>
#include <string>

namespace checkedfile::fileops {

constexpr const char kTemporaryMarker[] = ".autocount-";
constexpr int kTemporarySuffixLength = 6;
constexpr size_t kTemporaryNameMax = 200;

/// Records @p path for RemoveRegistered(); returns the slot, or -1 when the
/// table is full or the path too long (the file is then still removed on
/// every error path, only not by a signal handler).
int RegisterTemporary(const std::string& path);
void UnregisterTemporary(int slot);
/// Unlinks every recorded file; safe in a signal handler.
void RemoveRegistered();

QString Native(const std::string& path);
QString ReasonFor(int err);
/// Sets @p error to "<path>: <what>: <reason of err>" and returns false.
bool Fail(QString* error, const std::string& path, const char* what, int err);
bool FailText(QString* error, const std::string& path, const QString& text);

/// 0, or the errno of the write(2) that failed; EINTR and short writes go on.
int WriteAll(int fd, const char* data, size_t size);
/// fsync(2); in place (a device or pipe), "nothing to sync" is no error.
int SyncFd(int fd, bool inPlace);
int CloseFd(int fd);
std::string DirName(const std::string& path);
std::string BaseName(const std::string& path);
bool StartsWithDev(const std::string& path);
int MakeFolders(const std::string& folder);
int SyncFolder(const std::string& folder);
std::string RandomSuffix();
/// Whether @p name is one of our temporary files' names.
bool IsTemporaryName(const char* name);

} // namespace checkedfile::fileops
