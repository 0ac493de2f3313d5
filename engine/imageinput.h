#pragma once

// Reading image files for counting: the size check before decoding, the
// decoder, and the host's conversion of what was read into the module's
// working form. Every front end reads images here.

#include <QString>

#include <opencv2/core.hpp>

/// File suffixes that a folder is searched for (lower case, no dot).
extern const char* const kImageSuffixes[6];

/// True when @p path ends in one of kImageSuffixes (any case).
bool HasImageSuffix(const QString& path);

/// A file-dialog filter of the image formats that can be read.
QString FileDialogFilter();

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

/// An image ready to count: the decoded file in the module's form.
struct InputImage
{
    cv::Mat image;           ///< 8-bit BGR
    cv::Size decoded;        ///< width and height as decoded
    int decodedDepth = 0;    ///< bits per sample as decoded (8 or 16)
    int decodedChannels = 0; ///< planes as decoded
    QString error;           ///< why the file cannot be counted; empty on success
    bool ok() const { return error.isEmpty(); }
};

/// Reads @p path (LoadImageFile) and converts it into the module's form
/// (PixelFormatAdapter::ToModuleFormat).
InputImage ReadImage(const QString& path);

/// Installs PixelFormatAdapter::ToModuleFormat as the host's pixel-format
/// conversion
/// (the module asks for it when it captures the image at step 1).
void InstallModuleFormatConversion();
