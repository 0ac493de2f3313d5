#pragma once

// A count's whole work between the session and a work file (engine/workfile):
// what the user chose and did, collected, and done again on a fresh session.

#include "workfile.h"

#include <QString>

class CountingSession;

namespace savedwork {

/// The work of @p session, in its results, on the image at @p image.
workfile::Work Collect(const CountingSession& session, const QString& image);

/// Writes the work of @p session, which counted the file @p image and shows
/// its results, to @p path; false with @p error naming the file otherwise.
bool Save(const CountingSession& session, const QString& image, const QString& path,
          QString* error);

/// Reads the work file @p path and checks that its image is still the one
/// counted (same SHA-256); false with @p error saying what is wrong, without
/// the work file's name.
bool Read(const QString& path, workfile::Work& work, QString* error);

/**
 * @brief Does @p work again on @p session, which has just started counting
 * its image (step 1): draws the regions, segments with the settings, applies
 * the operations in order, measures and filters, deletes and adds the
 * objects. Ends in the results. False with @p error when the count cannot
 * start or an operation does not fit the image.
 */
bool Restore(CountingSession& session, const workfile::Work& work, QString* error);

} // namespace savedwork
