#pragma once

// File names as the system stores them: bytes, usually but not always UTF-8.
// Qt turns names into text through the locale's codec, which loses the bytes
// that are not UTF-8; the codec installed here keeps each such byte as an
// unpaired surrogate (U+DC80 to U+DCFF) and turns it back into the same byte,
// so that every name read from the command line or a folder opens the file
// it names.

#include <QString>

namespace filenames {

/// Makes the locale's codec UTF-8 that keeps stray bytes (see above). Call
/// once at start, before arguments or folders are read.
void InstallCodec();

/// @p name for display: each byte that is not UTF-8 shown as \xNN.
QString Display(const QString& name);

} // namespace filenames
