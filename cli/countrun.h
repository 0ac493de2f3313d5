#pragma once

// One image through the whole counting workflow, driven through the
// controller exactly as a host drives it: a canvas that holds the image, a
// view and its scene showing the image at the origin, the step machine, and
// host event 39 awaited in an event loop.

#include "countsettings.h"
#include "imageresult.h"

#include <QStringList>

#include <opencv2/core.hpp>

#include <memory>

QT_BEGIN_NAMESPACE
class QGraphicsPixmapItem;
class QGraphicsScene;
class QGraphicsView;
class QImage;
QT_END_NAMESPACE

class AutoCountManager;
class RecordingCanvas;

/// The per-image files to write; an empty path writes nothing.
struct ImageOutputs
{
    QString report;    ///< spreadsheet report (.xlsx)
    QString annotated; ///< the rendered scene (.png)
    QString table;     ///< the object table (.csv)
    bool any() const { return !report.isEmpty() || !annotated.isEmpty() || !table.isEmpty(); }
};

namespace countrun {

/// The 15 plain data-type names of the catalogue (built once per process).
QStringList CatalogueNames();

/// The catalogue name that @p name means (case-insensitive), or empty.
QString CatalogueName(const QString& name);

/// Replaces every filter name by its catalogue spelling; throws UsageError
/// naming --filter for a name the catalogue does not hold.
void ResolveFilterNames(CountSettings& settings);

/// The display names (with units) of the data types that @p settings enables,
/// in catalogue order: the statistics rows each counted image has.
QStringList EnabledTypeNames(const CountSettings& settings);

} // namespace countrun

/**
 * @brief Counts images one after another in this process.
 *
 * The module's settings are process-wide, so a process holds one runner and
 * counts one image at a time; every setting it uses is reset for each image.
 */
class CountRunner
{
public:
    CountRunner();
    ~CountRunner();
    CountRunner(const CountRunner&) = delete;
    CountRunner& operator=(const CountRunner&) = delete;

    /**
     * @brief Counts @p image (as decoded; converted to the module's form at
     * capture) with @p settings and writes @p outputs.
     * @param file the input's name, carried into the result and the settings
     *        written beside the outputs
     */
    ImageResult Count(const QString& file, const cv::Mat& image, const CountSettings& settings,
                      const ImageOutputs& outputs);

    /// The scene as the report pictures it: the image with regions, targets
    /// and numbers. Valid after Count until the next one.
    QImage RenderScene() const;

    AutoCountManager& Manager() { return *manager_; }

private:
    void ApplySettings(const CountSettings& settings);
    void ShowImageOnScene();
    void SelectRegions(const CountSettings& settings);
    void Segment(const CountSettings& settings);
    void Separate(const CountSettings& settings);
    void Measure(const CountSettings& settings);
    void CollectResult(ImageResult& result);
    void WriteOutputs(const CountSettings& settings, const ImageOutputs& outputs,
                      ImageResult& result);

    std::unique_ptr<QGraphicsView> view_;
    QGraphicsScene* scene_ = nullptr; // owned by the view
    QGraphicsPixmapItem* pixmapItem_ = nullptr;
    std::unique_ptr<RecordingCanvas> canvas_;
    std::unique_ptr<AutoCountManager> manager_;
};

/// Ends the automatic cut's worker thread, if one was started, so that the
/// process can exit cleanly.
void StopCutWorker();
