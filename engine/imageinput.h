#pragma once

// Reading image files for counting: the size check before decoding, the
// decoder, and the host's conversion of what was read into the module's
// working form. Every front end reads images here.

#include "decodedimage.h"
#include "imageheader.h"
#include "imagesource.h"
#include "settings.h"

#include <QString>

#include <opencv2/core.hpp>

/// File suffixes that a folder is searched for (lower case, no dot).
extern const char* const kImageSuffixes[6];

/// Splits "FILE[N]" (page N of FILE, as a batch of --page all names its
/// items) into FILE and N, when no file of the whole name exists and FILE
/// does. Otherwise @p file is @p path and @p page 0.
void SplitPage(const QString& path, QString& file, int& page);
/// "FILE[N]": how page @p page of @p file is named in every output.
QString PageName(const QString& file, int page);
/// The pages of @p path (1 for a file of one picture; 0 when unreadable).
int PageCount(const QString& path);

/// True when @p path ends in one of kImageSuffixes (any case).
bool HasImageSuffix(const QString& path);

/// A file-dialog filter of the image formats that can be read.
QString FileDialogFilter();

/// The decoded file: image as decoded (8- or 16-bit, one to four channels),
/// the error, and what the file declares about its pixels.
using LoadedImage = DecodedImage;

/**
 * @brief Decodes page @p page (1-based; 0 the first) of @p path without
 * changing its depth.
 *
 * Fails with a reason of one line for a missing or unreadable file, a FIFO,
 * device or socket (refused without opening it), an unknown format, a size
 * the header claims beyond @p maxPixels or the memory available (checked
 * before decoding, for every format), a corrupt file (any warning of the
 * JPEG decoder counts), and a pixel type that cannot be counted (only 1- to
 * 16-bit unsigned images are). What the decoding libraries say is part of
 * the reason, never printed.
 */
LoadedImage LoadImageFile(const QString& path, int page = 0, int64_t maxPixels = kDefaultMaxPixels);

/// An image ready to count: the decoded file in the module's form.
struct InputImage
{
    cv::Mat image;           ///< 8-bit BGR
    cv::Size decoded;        ///< width and height as decoded
    int decodedDepth = 0;    ///< bits per sample as decoded (8 or 16)
    int decodedChannels = 0; ///< planes as decoded
    PixelSize pixelSize;     ///< as the file declares it (micrometres); empty: none
    ImageSource source;      ///< page, conversion to 8 bits and notes (no calibration yet)
    QString error;           ///< why the file cannot be counted; empty on success
    bool ok() const { return error.isEmpty(); }
};

/// Reads @p path (LoadImageFile; "FILE[N]" is page N of FILE), maps samples
/// deeper than 8 bits onto 0-255 (bitdepth.h) and converts the result into
/// the module's form (PixelFormatAdapter::ToModuleFormat).
InputImage ReadImage(const QString& path, const InputSettings& options = InputSettings());

/// The scale and unit for an image read with @p settings: the option's scale
/// ("option"), else the pixel size the file declares converted into the unit
/// asked for (µm when none is), else the settings' scale with no source.
/// Fills @p source's calibration and notes non-square pixels.
void Calibrate(const CountSettings& settings, const PixelSize& size, ImageSource& source);

/// Installs PixelFormatAdapter::ToModuleFormat as the host's pixel-format
/// conversion
/// (the module asks for it when it captures the image at step 1).
void InstallModuleFormatConversion();
