#pragma once

// The objects' shapes as files other tools read: a 16-bit label image and
// GeoJSON polygons, both numbered as the object table is.

#include "countrun.h"
#include "imageresult.h"

#include <QByteArray>
#include <QString>

namespace shapeoutputs {

/// The largest object number a 16-bit label image can hold.
constexpr int kMaxLabel = 65535;

/**
 * @brief The label image of @p counted as a 16-bit grey PNG: 0 background,
 * object N (the table's number) on the pixels of its filled outline.
 *
 * False with the reason in @p error when there are more than kMaxLabel
 * objects or the PNG cannot be made.
 */
bool LabelPng(const countrun::CountResult& counted, QByteArray* png, QString* error);

/**
 * @brief A GeoJSON FeatureCollection with one Polygon Feature per object of
 * @p counted: the outline in image pixel coordinates (x column, y row, the
 * centre of each boundary pixel), the ring closed, and the object's row of
 * @p result (its number and every measurement) as properties.
 */
QByteArray GeoJson(const countrun::CountResult& counted, const ImageResult& result);

} // namespace shapeoutputs
