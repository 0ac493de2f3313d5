#include "countrun.h"

#include "outputwriters.h"

#include "autocount/autocountmanager.h"
#include "host/displaycanvas.h"
#include "host/hostevents.h"
#include "host/scaleservice.h"

#include <QCoreApplication>
#include <QEventLoop>
#include <QGraphicsPixmapItem>
#include <QGraphicsScene>
#include <QGraphicsView>
#include <QImage>
#include <QPainter>
#include <QPixmap>
#include <QThread>

#include <atomic>

namespace countrun {

namespace {

/// The catalogue maps and ranges are built once per process.
void EnsureCatalogue()
{
    static const bool built = [] {
        AutoCountManager::InitDataTypeMap();
        return true;
    }();
    (void)built;
}

void ApplyCalibration(const CountSettings& settings)
{
    CalibrationEntry entry;
    entry.scale = settings.scale;
    entry.unitName = settings.unit;
    ScaleService::calibrationStore.SetCurrentEntry(entry);
}

/// Puts the filter ranges of @p settings into the module's range list.
void ApplyFilters(AutoCountManager& manager, const CountSettings& settings)
{
    manager.SetDefaultDataRange();
    if (!settings.defaultFilters) {
        QList<QStringList> rows;
        manager.GetDataRangeList(rows);
        for (const QStringList& row : rows)
            manager.DeleteDataType(row.value(0));
    }
    for (const FilterSetting& filter : settings.filters) {
        manager.AddDataType(filter.name);
        if (filter.min)
            manager.ModifyDataMinValue(filter.name, *filter.min);
        if (filter.max)
            manager.ModifyDataMaxValue(filter.name, *filter.max);
    }
}

} // namespace

QStringList CatalogueNames()
{
    EnsureCatalogue();
    QStringList names;
    AutoCountManager::GetAllDataTypeName(names);
    return names;
}

QString CatalogueName(const QString& name)
{
    for (const QString& known : CatalogueNames())
        if (known.compare(name.trimmed(), Qt::CaseInsensitive) == 0)
            return known;
    return QString();
}

void ResolveFilterNames(CountSettings& settings)
{
    for (FilterSetting& filter : settings.filters) {
        const QString known = CatalogueName(filter.name);
        if (known.isEmpty())
            throw UsageError(QStringLiteral("--filter"),
                             QStringLiteral("unknown data type '%1'; the types are: %2")
                                 .arg(filter.name, CatalogueNames().join(QStringLiteral(", "))));
        filter.name = known;
    }
}

QStringList EnabledTypeNames(const CountSettings& settings)
{
    EnsureCatalogue();
    ApplyCalibration(settings);
    AutoCountManager manager;
    ApplyFilters(manager, settings);
    QStringList names;
    manager.GetDataTypeNameList(names);
    return names;
}

} // namespace countrun

CountRunner::CountRunner()
    : view_(std::make_unique<QGraphicsView>()), canvas_(std::make_unique<RecordingCanvas>()),
      manager_(std::make_unique<AutoCountManager>())
{
    countrun::EnsureCatalogue();
    // The scene's parent is the view, as in a host's image view.
    scene_ = new QGraphicsScene(view_.get());
    view_->setScene(scene_);
    manager_->SetDisplayCanvas(canvas_.get());
    manager_->SetScene(scene_);
    manager_->Init();
}

CountRunner::~CountRunner()
{
    // The controller goes first: its items belong to the scene, which the
    // view deletes.
    manager_.reset();
}

void CountRunner::ApplySettings(const CountSettings& settings)
{
    // Module settings are statics shared by the whole process: put back every
    // one this run relies on, so that no image inherits from the one before.
    const int mode =
        settings.mode == QLatin1String("bright")   ? AutoCountManager::SEGMENT_AUTO_BRIGHT
        : settings.mode == QLatin1String("manual") ? AutoCountManager::SEGMENT_MANUAL
                                                   : AutoCountManager::SEGMENT_AUTO_DARK;
    AutoCountManager::autoCountStep = AutoCountManager::STEP_ENDED;
    AutoCountManager::regionSelectionMode = AutoCountManager::REGION_WHOLE_IMAGE;
    AutoCountManager::segmentMode = mode;
    AutoCountManager::lowThresh = mode == AutoCountManager::SEGMENT_MANUAL ? settings.low : 0;
    AutoCountManager::highThresh = mode == AutoCountManager::SEGMENT_MANUAL ? settings.high : 255;
    AutoCountManager::histogramChannel = countsettings::kChannels.indexOf(settings.channel);
    AutoCountManager::objectCutMode = AutoCountManager::CUT_NONE;
    AutoCountManager::displayMode = 0;
    AutoCountManager::isProcessBound = true;
    countrun::ApplyCalibration(settings);
}

void CountRunner::ShowImageOnScene()
{
    // The report pictures the scene, so the image goes onto it as a pixmap at
    // the origin, one scene unit per pixel, beneath the module's items.
    const cv::Mat& source = manager_->GetSourceImage();
    if (source.empty() || source.type() != CV_8UC3)
        return;
    const QImage image(source.data, source.cols, source.rows, static_cast<int>(source.step),
                       QImage::Format_BGR888);
    pixmapItem_ = scene_->addPixmap(QPixmap::fromImage(image));
    pixmapItem_->setPos(0, 0);
    pixmapItem_->setZValue(-1);
}

void CountRunner::SelectRegions(const CountSettings& settings)
{
    AutoCountManager& m = *manager_;
    if (!settings.rectangles.isEmpty()) {
        // Each rectangle as the mouse makes it: a click at one corner, a move
        // to the other, and the click that finishes it.
        m.SetRegionSelectionMode(AutoCountManager::REGION_RECTANGLE);
        for (const QRectF& r : settings.rectangles) {
            m.CreateRectItem(r.topLeft());
            m.ChangeRectItem(r.bottomRight());
            m.CreateRectItem(r.bottomRight());
        }
    } else if (!settings.polygons.isEmpty()) {
        // A click at the first vertex, a move through each further one, and
        // the click that closes the polygon.
        m.SetRegionSelectionMode(AutoCountManager::REGION_POLYGON);
        for (const QPolygonF& polygon : settings.polygons) {
            m.CreatePolygonItem(polygon.first());
            for (int i = 1; i < polygon.size(); ++i)
                m.ChangePolygonItem(polygon[i]);
            m.CreatePolygonItem(polygon.last());
        }
    } else {
        m.SetRegionSelectionMode(AutoCountManager::REGION_WHOLE_IMAGE);
    }
    m.SetSelectedRegions();
}

void CountRunner::Segment(const CountSettings& settings)
{
    AutoCountManager& m = *manager_;
    // The mode, channel and band were put in place by ApplySettings; one
    // segmentation follows them.
    m.SetSegmentMode(AutoCountManager::segmentMode);
    for (const QString& op : settings.morphology)
        m.MorphologyOperation(countsettings::kMorphology.indexOf(op));
    if (settings.fillHoles)
        m.FillHole();
}

void CountRunner::Separate(const CountSettings& settings)
{
    AutoCountManager& m = *manager_;
    if (settings.cut == QLatin1String("merge")) {
        m.SetObjectCutMode(AutoCountManager::CUT_MERGE);
        return;
    }
    if (settings.cut != QLatin1String("auto")) {
        m.SetObjectCutMode(AutoCountManager::CUT_NONE);
        return;
    }

    // The controller stops a previous cut with terminate() and starts the
    // thread again at once; a thread still ending would not start. Let the
    // idle worker thread finish first so that every start runs a cut.
    if (QThread* thread = AutoCountManager::autoCountThread) {
        if (thread->isRunning()) {
            thread->quit();
            thread->wait();
        }
    }

    // Event 39 comes from the worker thread; the observer only queues a call
    // onto this thread, where the loop below takes it.
    QEventLoop loop;
    std::atomic<bool> finished{false};
    const int observer = HostEvents::AddObserver([&](int code, void*) {
        if (code != HOST_EVENT_AUTO_CUT_FINISHED)
            return;
        QMetaObject::invokeMethod(
            &loop,
            [&] {
                finished = true;
                loop.quit();
            },
            Qt::QueuedConnection);
    });
    m.SetObjectCutMode(AutoCountManager::CUT_AUTO);
    // Without a worker thread no cut was started, and none will be announced.
    const bool started = AutoCountManager::autoCountThread != nullptr;
    if (started && !finished)
        loop.exec();
    HostEvents::RemoveObserver(observer);
    // A queued call may still be pending for the loop; deliver it before the
    // loop and the flag go out of scope.
    QCoreApplication::sendPostedEvents(&loop);
    if (started)
        m.slotAutoCutFinished();
}

void CountRunner::Measure(const CountSettings& settings)
{
    AutoCountManager& m = *manager_;
    AutoCountManager::isProcessBound = !settings.keepBorder;
    m.CalculateData();
    countrun::ApplyFilters(m, settings);
    m.ObjectDetectAndCalculateData();
}

void CountRunner::CollectResult(ImageResult& result)
{
    AutoCountManager& m = *manager_;
    result.count = static_cast<int>(m.GetValidResults().size());
    result.unit = ScaleService::calibrationStore.GetCurrentEntry().unitName;
    m.GetThreshold(result.lowThreshold, result.highThreshold);

    if (result.count > 0) {
        // Summed in list order, as the statistics table sums.
        double sum = 0;
        for (const parResult& record : m.GetValidResults())
            sum += GetObjectDataValue(AutoCountManager::DATA_AREA, record);
        result.meanArea = sum / result.count;
    }

    QList<QStringList> table;
    m.GetObjectData(table);
    if (!table.isEmpty()) {
        result.columns = table.takeFirst();
        for (const QStringList& row : table) {
            QList<double> numbers;
            for (const QString& cell : row)
                numbers << imageresult::Cell(cell).value_or(0.0);
            result.objects << numbers;
        }
    }

    QList<QStringList> statistics;
    m.GetStatisticsData(statistics);
    for (int i = 1; i < statistics.size(); ++i) {
        const QStringList& row = statistics[i];
        TypeStatistics s;
        s.name = row.value(0);
        s.mean = imageresult::Cell(row.value(1));
        s.standardDeviation = imageresult::Cell(row.value(2));
        s.minimum = imageresult::Cell(row.value(3)).value_or(0.0);
        s.maximum = imageresult::Cell(row.value(4)).value_or(0.0);
        s.range = imageresult::Cell(row.value(5)).value_or(0.0);
        s.sum = imageresult::Cell(row.value(6)).value_or(0.0);
        s.count = imageresult::Cell(row.value(7)).value_or(0.0);
        result.statistics << s;
    }
}

QImage CountRunner::RenderScene() const
{
    const QRectF rect = scene_->sceneRect();
    QImage image(static_cast<int>(rect.width()), static_cast<int>(rect.height()),
                 QImage::Format_RGB888);
    if (image.isNull())
        return image;
    image.fill(Qt::white);
    QPainter painter(&image);
    painter.setRenderHint(QPainter::Antialiasing);
    scene_->render(&painter, QRectF(), rect, Qt::KeepAspectRatio);
    return image;
}

void CountRunner::WriteOutputs(const CountSettings& settings, const ImageOutputs& outputs,
                               ImageResult& result)
{
    QStringList settingsFiles;
    auto written = [&](const QString& path, bool ok, const QString& error) {
        if (ok)
            result.outputs << path;
        else
            result.outputErrors << QStringLiteral("%1: %2").arg(path, error);
        return ok;
    };
    auto writeSettingsBeside = [&](const QString& path) {
        const QString sidecar = outputs::SettingsPathBeside(path);
        if (settingsFiles.contains(sidecar))
            return;
        settingsFiles << sidecar;
        QString error;
        written(
            sidecar,
            outputs::WriteAtomically(sidecar, outputs::SettingsFile(settings, result.file), &error),
            error);
    };

    if (!outputs.report.isEmpty()) {
        QString error;
        if (written(outputs.report,
                    outputs::ExportReportAtomically(*manager_, outputs.report, &error), error))
            writeSettingsBeside(outputs.report);
    }
    if (!outputs.annotated.isEmpty()) {
        QString error;
        written(
            outputs.annotated,
            outputs::WriteAtomically(outputs.annotated, outputs::PngBytes(RenderScene()), &error),
            error);
    }
    if (!outputs.table.isEmpty()) {
        QString error;
        if (written(outputs.table,
                    outputs::WriteAtomically(outputs.table, outputs::TableCsv(result), &error),
                    error))
            writeSettingsBeside(outputs.table);
    }
}

ImageResult CountRunner::Count(const QString& file, const cv::Mat& image,
                               const CountSettings& settings, const ImageOutputs& outputs)
{
    ImageResult result;
    result.file = file;
    AutoCountManager& m = *manager_;

    ApplySettings(settings);
    if (pixmapItem_) {
        scene_->removeItem(pixmapItem_);
        delete pixmapItem_;
        pixmapItem_ = nullptr;
    }
    scene_->setSceneRect(0, 0, image.cols, image.rows);
    canvas_->SetImage(image);

    // Step 1: the controller captures the canvas image and converts it.
    m.SetAutoCountStep(AutoCountManager::STEP_REGION);
    if (outputs.report.size() || outputs.annotated.size())
        ShowImageOnScene();
    SelectRegions(settings);
    // Step 2: segmentation and refinement.
    m.SetAutoCountStep(AutoCountManager::STEP_SEGMENT);
    Segment(settings);
    // Step 3: separation of touching objects.
    m.SetAutoCountStep(AutoCountManager::STEP_SEPARATE);
    Separate(settings);
    // Step 4: measurement, filtering and the numbered targets.
    m.SetAutoCountStep(AutoCountManager::STEP_RESULTS);
    Measure(settings);
    CollectResult(result);
    WriteOutputs(settings, outputs, result);
    m.SetAutoCountStep(AutoCountManager::STEP_ENDED);
    // The canvas lets go of the image; the scene keeps its items until the
    // next image starts.
    canvas_->SetImage(cv::Mat());
    return result;
}

void StopCutWorker()
{
    if (QThread* thread = AutoCountManager::autoCountThread) {
        thread->quit();
        thread->wait();
    }
}
