#include "tiffmetadata.h"

#include "settings.h"

#include <QXmlStreamReader>

#include <cmath>

namespace tiffmetadata {

double UnitToMicrometres(QString unit)
{
    // OME-XML's lengths are in micrometres unless a unit is given.
    return unit.trimmed().isEmpty() ? 1.0 : countsettings::MicrometresPer(unit);
}

OmePixels ParseOme(const QByteArray& xml)
{
    OmePixels ome;
    QXmlStreamReader reader(xml);
    int images = 0;
    bool inPixels = false;
    while (!reader.atEnd()) {
        reader.readNext();
        if (reader.isStartElement()) {
            const QStringRef name = reader.name();
            const QXmlStreamAttributes a = reader.attributes();
            if (name == QLatin1String("Image"))
                ++images;
            if (images > 1)
                break; // the first image (series) only
            if (name == QLatin1String("Pixels")) {
                inPixels = true;
                ome.found = true;
                ome.sizeC = std::max(1, a.value("SizeC").toInt());
                ome.sizeZ = std::max(1, a.value("SizeZ").toInt());
                ome.sizeT = std::max(1, a.value("SizeT").toInt());
                if (!a.value("DimensionOrder").isEmpty())
                    ome.order = a.value("DimensionOrder").toString();
                ome.significantBits = a.value("SignificantBits").toInt();
                bool okX = false, okY = false;
                const double x = a.value("PhysicalSizeX").toDouble(&okX);
                const double y = a.value("PhysicalSizeY").toDouble(&okY);
                const double fx = UnitToMicrometres(a.value("PhysicalSizeXUnit").toString());
                const double fy = UnitToMicrometres(a.value("PhysicalSizeYUnit").toString());
                if (okX && x > 0 && (fx == 0 || fy == 0))
                    ome.unitProblem = QStringLiteral("pixel size in OME-XML has a unit that is "
                                                     "not a length (%1); not used")
                                          .arg(a.value("PhysicalSizeXUnit").toString());
                else if (okX && x > 0) {
                    ome.size.x = x * fx;
                    ome.size.y = (okY && y > 0 ? y * fy : x * fx);
                    ome.size.source = QStringLiteral("file: OME-XML");
                }
            } else if (inPixels && name == QLatin1String("TiffData")) {
                OmePixels::TiffData d;
                d.ifd = a.value("IFD").toInt();
                d.c = a.value("FirstC").toInt();
                d.z = a.value("FirstZ").toInt();
                d.t = a.value("FirstT").toInt();
                bool ok = false;
                const int planes = a.value("PlaneCount").toInt(&ok);
                d.planes = ok ? planes : (a.hasAttribute("IFD") ? 1 : -1);
                ome.tiffData << d;
            }
        } else if (reader.isEndElement() && reader.name() == QLatin1String("Pixels")) {
            inPixels = false;
        }
    }
    return ome;
}

QString OmePlane(const OmePixels& ome, int ifd)
{
    // The plane's position in the dimension order, counted over C, Z and T.
    long index = -1;
    if (ome.tiffData.isEmpty()) {
        index = ifd;
    } else {
        for (const OmePixels::TiffData& d : ome.tiffData) {
            const int planes = d.planes < 0 ? ome.sizeC * ome.sizeZ * ome.sizeT : d.planes;
            if (ifd >= d.ifd && ifd < d.ifd + planes) {
                index = ifd - d.ifd;
                // Start from the first plane's position.
                const QString order = ome.order.mid(2);
                long first = 0, stride = 1;
                for (const QChar axis : order) {
                    const int at = axis == 'C' ? d.c : axis == 'Z' ? d.z : d.t;
                    const int size = axis == 'C' ? ome.sizeC : axis == 'Z' ? ome.sizeZ : ome.sizeT;
                    first += at * stride;
                    stride *= size;
                }
                index += first;
                break;
            }
        }
    }
    if (index < 0 || index >= long(ome.sizeC) * ome.sizeZ * ome.sizeT)
        return QString();
    int c = 0, z = 0, t = 0;
    for (const QChar axis : ome.order.mid(2)) {
        const int size = axis == 'C' ? ome.sizeC : axis == 'Z' ? ome.sizeZ : ome.sizeT;
        const int at = int(index % size);
        index /= size;
        (axis == 'C' ? c : axis == 'Z' ? z : t) = at;
    }
    return QStringLiteral("c=%1 z=%2 t=%3").arg(c).arg(z).arg(t);
}

/// The pixel size from the resolution tags of the current directory:
/// XResolution and YResolution are pixels per ResolutionUnit (inch by
/// default, or cm). ImageJ stores pixels per micrometre with no unit and
/// names the unit in its description.
PixelSize ResolutionSize(TIFF* tif, const QString& description)
{
    PixelSize size;
    float xres = 0, yres = 0;
    uint16_t unit = RESUNIT_INCH;
    if (!TIFFGetField(tif, TIFFTAG_XRESOLUTION, &xres) || !(xres > 0) || !std::isfinite(xres))
        return size;
    if (!TIFFGetField(tif, TIFFTAG_YRESOLUTION, &yres) || !(yres > 0) || !std::isfinite(yres))
        yres = xres;
    TIFFGetFieldDefaulted(tif, TIFFTAG_RESOLUTIONUNIT, &unit);
    double perUnit = 0; // micrometres per resolution unit
    QString how = QStringLiteral("file: resolution tags");
    if (unit == RESUNIT_INCH) {
        perUnit = 25400.0;
    } else if (unit == RESUNIT_CENTIMETER) {
        perUnit = 10000.0;
    } else if (description.startsWith(QLatin1String("ImageJ="))) {
        for (const QString& line : description.split(QLatin1Char('\n'))) {
            if (line.startsWith(QLatin1String("unit="))) {
                QString name = line.mid(5).trimmed();
                if (name == QLatin1String("\\u00B5m"))
                    name = QStringLiteral("µm");
                perUnit = UnitToMicrometres(name);
                how = QStringLiteral("file: resolution tags, ImageJ unit %1").arg(name);
            }
        }
    }
    if (perUnit <= 0)
        return size;
    size.x = perUnit / xres;
    size.y = perUnit / yres;
    size.source = how;
    return size;
}

QString Description(TIFF* tif)
{
    char* text = nullptr;
    if (TIFFGetField(tif, TIFFTAG_IMAGEDESCRIPTION, &text) && text)
        return QString::fromUtf8(text);
    return QString();
}

} // namespace tiffmetadata
