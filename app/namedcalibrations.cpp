#include "namedcalibrations.h"

#include <QSettings>

namespace namedcalibrations {

QList<NamedCalibration> All()
{
    QSettings settings;
    QList<NamedCalibration> all;
    const int size = settings.beginReadArray("namedCalibrations");
    for (int i = 0; i < size; ++i) {
        settings.setArrayIndex(i);
        NamedCalibration entry;
        entry.name = settings.value("name").toString();
        const double scale = settings.value("scale").toString().toDouble();
        const QString unit = settings.value("unit").toString().trimmed();
        if (entry.name.isEmpty() || !(scale > 0.0))
            continue;
        entry.calibration.scale = scale;
        entry.calibration.unit = unit.isEmpty() ? QStringLiteral("px") : unit;
        all << entry;
    }
    settings.endArray();
    return all;
}

void Keep(const QString& name, const Calibration& calibration)
{
    const QString trimmed = name.trimmed();
    if (trimmed.isEmpty())
        return;
    QList<NamedCalibration> all = All();
    bool replaced = false;
    for (NamedCalibration& entry : all)
        if (entry.name == trimmed) {
            entry.calibration = calibration;
            replaced = true;
        }
    if (!replaced)
        all << NamedCalibration{trimmed, calibration};
    QSettings settings;
    settings.remove("namedCalibrations");
    settings.beginWriteArray("namedCalibrations", all.size());
    for (int i = 0; i < all.size(); ++i) {
        settings.setArrayIndex(i);
        settings.setValue("name", all[i].name);
        // As text of 17 digits, which reads back to the same double.
        settings.setValue("scale", QString::number(all[i].calibration.scale, 'g', 17));
        settings.setValue("unit", all[i].calibration.unit);
    }
    settings.endArray();
}

} // namespace namedcalibrations
