#pragma once

// Reading image files for counting, and the host's conversion of what was
// read into the module's working form.

#include <QString>

#include <opencv2/core.hpp>

/// File suffixes that a folder is searched for (lower case, no dot).
extern const char* const kImageSuffixes[6];

struct LoadedImage
{
    cv::Mat image; ///< as decoded: 8- or 16-bit, one to four channels
    QString error; ///< why the file cannot be counted; empty on success
    bool ok() const { return error.isEmpty(); }
};

/// Decodes @p path without changing its depth or channel count. Fails with a
/// reason for a missing or unreadable file, an unknown format, a corrupt file
/// and a pixel type that cannot be counted (only 8- and 16-bit images are).
LoadedImage LoadImageFile(const QString& path);

/// Installs PixelFormatAdapter::ToModuleFormat as the host's pixel-format
/// conversion
/// (the module asks for it when it captures the image at step 1).
void InstallModuleFormatConversion();
