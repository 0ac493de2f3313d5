#pragma once

// Checked, atomic file output. Every write(2), fsync(2), close(2) and
// rename(2) result is looked at, so a full disk or an I/O error is reported
// instead of leaving an empty or cut-off file behind a successful exit.
//
// QSaveFile, used before, only fills a 16 KB buffer in write(); the real
// write(2) happens in commit(), whose error is dropped, so a small file on a
// full disk was renamed into place empty and reported as written.
//
// Error texts name the file and give the system's reason, for example
// "/data/out.csv: cannot write: No space left on device".

#include <QByteArray>
#include <QString>

#include <functional>

namespace checkedfile {

/// Writes @p data to @p path and returns true, or returns false with the
/// reason in @p error (which may be null).
///
/// A regular or missing target is replaced atomically: the data goes to a
/// temporary file ".<name>.autocount-XXXXXX" in the target's folder (created
/// with O_CREAT|O_EXCL and mode 0666 & ~umask, or the old file's rwx
/// permission bits when it is replaced; a name over 200 bytes is cut), is
/// written with every write(2) checked, fsync'ed and closed, renamed over the
/// target, and the folder is fsync'ed. Missing parent folders are created.
/// On an error before the rename the temporary file is removed and an
/// existing target is left as it was; if only the final folder sync fails,
/// the target already holds the new data.
///
/// A symbolic link is written through: the file it points to (resolved with
/// realpath(3), or followed link by link when it dangles) is replaced or
/// created, and the link stays.
///
/// A character or block device, FIFO or socket, and any path under /dev/, is
/// never replaced nor created: it is opened O_WRONLY|O_APPEND and written in
/// place, every write checked (so /dev/null and /dev/stdout work, /dev/full
/// fails); a FIFO waits for its reader, as with the shell's ">". Their fsync
/// answering EINVAL, EROFS or ENOTSUP (nothing to sync) is no error. A
/// directory is refused.
bool Write(const QString& path, const QByteArray& data, QString* error);

/**
 * @brief Puts a file that another library writes by name into place at
 * @p path, as Write() does for bytes: @p make is called with a registered
 * temporary name beside the target and must create that file; it is then
 * synced and renamed over @p path, and the folder synced. A file that was not
 * made (missing or empty) is an error naming @p what ("the report"); so is a
 * device or pipe as target.
 */
bool Place(const QString& path, const QString& what,
           const std::function<void(const QString& temporary)>& make, QString* error);

/// An output written piece by piece as a batch goes, such as a JSON-lines
/// file or a batch table. Open() creates the file atomically with its header
/// (temporary file, fsync, rename), so the path exists at once; each Append()
/// then goes to the real file with every write(2) checked. Devices, FIFOs and
/// paths under /dev/ are written in place as by Write().
class AppendFile
{
public:
    AppendFile() = default;
    /// Closes the file if still open; errors are lost, call Close() to see them.
    ~AppendFile();
    AppendFile(const AppendFile&) = delete;
    AppendFile& operator=(const AppendFile&) = delete;

    /// Creates or replaces @p path holding @p header. False with the reason
    /// if that fails; an existing file is then left as it was.
    bool Open(const QString& path, const QByteArray& header, QString* error);
    /// Writes @p data at the end of the file.
    bool Append(const QByteArray& data, QString* error);
    /// Forces the appended data to the disk (a no-op on devices and FIFOs).
    bool Sync(QString* error);
    /// Syncs and closes the file; true only if everything written is stored.
    bool Close(QString* error);

    bool isOpen() const { return fd_ >= 0; }
    /// The file written to: the path given to Open(), links resolved.
    QString path() const { return path_; }

private:
    int fd_ = -1;
    bool inPlace_ = false;
    QString path_;
};

/// Writes @p data to standard output (file descriptor 1), every write(2)
/// checked; EPIPE (with SIGPIPE ignored), ENOSPC and EIO are reported.
bool WriteStdout(const QByteArray& data, QString* error);

/// Ends the output on standard output: flushes C stdio's stdout, fsyncs
/// fd 1 (EINVAL from pipes and terminals, EROFS and ENOTSUP are ignored) and closes it, checking
/// each. Call once, at the end; fd 1 is left open on /dev/null afterwards.
bool CloseStdout(QString* error);

/// Removes temporary files ".<name>.autocount-XXXXXX" in @p folder last
/// modified more than @p olderThanSeconds ago, left behind by a run
/// that was killed. Returns how many were removed, or -1 with the reason if
/// the folder cannot be read.
int RemoveStaleTemporaries(const QString& folder, qint64 olderThanSeconds, QString* error);

/// Removes every temporary file that a Write() or AppendFile::Open() in this
/// process has open at the moment. Only calls unlink(2) on a fixed, static
/// table, so it is async-signal-safe: meant for SIGINT/SIGTERM handlers.
void RemoveTemporariesForSignal();

} // namespace checkedfile
