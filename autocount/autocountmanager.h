#pragma once

/**
 * @file autocountmanager.h
 * @brief The controller of automatic counting: the one object through which a
 * host drives region selection, segmentation, object separation, measurement,
 * filtering, result display and the report.
 */

#include "autocount/alg/alg.h"
#include "autocount/autocount_export.h"
#include "autocount/drawproperty/targetdrawproperty.h"
#include "autocount/drawproperty/targetdrawpropertymanager.h"

#include <QList>
#include <QMap>
#include <QObject>
#include <QPointF>
#include <QPolygonF>
#include <QString>
#include <QStringList>

#include <opencv2/core.hpp>

#include <vector>

QT_BEGIN_NAMESPACE
class QGraphicsLineItem;
class QGraphicsPolygonItem;
class QGraphicsRectItem;
class QGraphicsScene;
class QGraphicsTextItem;
class QMouseEvent;
class QThread;
QT_END_NAMESPACE

class AutoCutManager;
class DisplayCanvas;

class AUTOCOUNT_EXPORT AutoCountManager : public QObject
{
    Q_OBJECT
public:
    /// Workflow steps (SetAutoCountStep).
    enum Step
    {
        STEP_ENDED = 0,
        STEP_REGION = 1,
        STEP_SEGMENT = 2,
        STEP_SEPARATE = 3,
        STEP_RESULTS = 4,
    };

    /// Region tools (SetRegionSelectionMode).
    enum RegionMode
    {
        REGION_WHOLE_IMAGE = 0,
        REGION_RECTANGLE = 1,
        REGION_POLYGON = 2,
    };

    /// Segmentation modes (SetSegmentMode).
    enum SegmentMode
    {
        SEGMENT_AUTO_BRIGHT = 0, ///< Otsu; objects above the threshold
        SEGMENT_AUTO_DARK = 1,   ///< Otsu; objects at or below the threshold
        SEGMENT_MANUAL = 2,      ///< band [lowThresh, highThresh] on histogramChannel
    };

    /// Channels of the histogram and of the manual band.
    enum Channel
    {
        CHANNEL_GREY = 0,
        CHANNEL_RED = 1,
        CHANNEL_GREEN = 2,
        CHANNEL_BLUE = 3,
        CHANNEL_HUE = 4,
        CHANNEL_SATURATION = 5,
        CHANNEL_INTENSITY = 6,
    };

    /// Object separation modes (SetObjectCutMode).
    enum CutMode
    {
        CUT_AUTO = 0,
        CUT_MANUAL = 1,
        CUT_NONE = 2,
        CUT_MERGE = 3,
    };

    /// Refinement operations (MorphologyOperation).
    enum Morphology
    {
        MORPHOLOGY_DILATE = 0,
        MORPHOLOGY_ERODE = 1,
        MORPHOLOGY_OPEN = 2,
        MORPHOLOGY_CLOSE = 3,
    };

    /// The measurable data types of an object.
    enum OBJECT_DATA_TYPE
    {
        DATA_AREA = 0,
        DATA_PERIMETER = 1,
        DATA_RADIUS = 2,
        DATA_DIAMETER = 3,
        DATA_ROUNDNESS = 4,
        DATA_CENTER_X = 5,
        DATA_CENTER_Y = 6,
        DATA_LONG_AXIS = 7,
        DATA_SHORT_AXIS = 8,
        DATA_DIRECTION = 9,
        DATA_INTEGRAL = 10,
        DATA_STANDARD_DEVIATION = 11,
        DATA_MEAN_GRAY = 12,
        DATA_MAX_GRAY = 13,
        DATA_MIN_GRAY = 14,
    };
    static constexpr int kDataTypeCount = 15;

    /// Filter range of one data type, inclusive, in calibrated units.
    struct OBJECT_DATA_RANGE
    {
        bool enabled;
        double minValue;
        double maxValue;
    };

    explicit AutoCountManager(QObject* parent = nullptr);
    ~AutoCountManager() override;

    /// @name Host wiring: both must be set before SetAutoCountStep(1).
    /// @{
    void SetDisplayCanvas(DisplayCanvas* canvas) { displayCanvas_ = canvas; }
    DisplayCanvas* GetDisplayCanvas() const { return displayCanvas_; }
    /// The image view's scene; its parent object is the QGraphicsView that maps mouse positions.
    void SetScene(QGraphicsScene* scene) { scene_ = scene; }
    QGraphicsScene* GetScene() const { return scene_; }
    /// @}

    /// @name Workflow
    /// @{
    void Init();
    bool IsAutoCountStarted();
    void SetAutoCountStep(int step);
    void SetDisplayMode(int mode);
    void Back(int step);
    /// @}

    /// @name Region drawing
    /// @{
    bool IsAcceptMouseEvent();
    void mousePressEvent(QMouseEvent* event);
    void mouseMoveEvent(QMouseEvent* event);
    void mouseReleaseEvent(QMouseEvent* event);
    void mouseDoubleClickEvent(QMouseEvent* event);
    void SetRegionSelectionMode(int mode);
    void CreateRectItem(const QPointF& p);
    void CreatePolygonItem(const QPointF& p);
    void CreateLineItem(const QPointF& p);
    void ChangeRectItem(const QPointF& p);
    void ChangePolygonItem(const QPointF& p);
    void ChangeLineItem(const QPointF& p);
    void DeleteAllRectItem();
    void DeleteAllPolygonItem();
    void DeleteAllLineItem();
    /// @}

    /// @name Region mask
    /// @{
    void SetSelectedRegions();
    /// @}

    /// @name Segmentation and refinement
    /// @{
    void GetHistogramData(int channel, int* histogram);
    void SetSegmentMode(int mode);
    void ImageSegment();
    void GetThreshold(int& low, int& high);
    void SetLowThreshold(int value);
    void SetHighThreshold(int value);
    void MorphologyOperation(int op);
    void FillHole();
    /// @}

    /// @name Object separation
    /// @{
    void SetObjectCutMode(int mode);
    /// Takes the automatic cut's result into the binary image. The host calls
    /// it on the user-interface thread after host event 39. Deliberately not a
    /// Qt slot: the controller's meta-object declares none.
    void slotAutoCutFinished();
    /// @}

    /// @name Measurement run
    /// @{
    void ObjectDetectAndCalculateData();
    void CalculateData();
    /// @}

    /// @name Data-type catalogue
    /// @{
    static QString GetDataTypeName(OBJECT_DATA_TYPE type);
    static void InitDataTypeMap();
    static void GetAllDataTypeName(QStringList& names);
    /// @}

    /// @name Data ranges and filtering
    /// @{
    void SetDefaultDataRange();
    void AddDataType(const QString& name);
    void DeleteDataType(const QString& name);
    void ModifyDataMinValue(const QString& name, double value);
    void ModifyDataMaxValue(const QString& name, double value);
    void GetDataRangeList(QList<QStringList>& rows);
    void RemoveInvalidData();
    void DeleteObjectData(int index);
    /// @}

    /// @name Object table and statistics
    /// @{
    void GetObjectData(QList<QStringList>& rows);
    void GetDataTypeNameList(QStringList& names);
    void GetStatisticsData(QList<QStringList>& rows);
    /// @}

    /// @name Result display
    /// @{
    void DrawTarget();
    void DeleteTargetItem();
    void DeleteTargetGraphicsItem();
    void SetTargetItemDrawProperty();
    void DrawObjectIndex(cv::Mat& image);
    void HighlightObject(const QPointF& scenePos);
    void HighlightObject(int index);
    void HighlightObject(void* item);
    /// @}

    /// @name Drawing properties
    /// @{
    TARGET_DRAW_PROPERTY GetTargetDrawProperty();
    void SetTargetDrawProperty(TARGET_DRAW_PROPERTY property);
    void SetDefaultTargetDrawProperty();
    /// @}

    /// @name Report
    /// @{
    void ExportReport(const QString& path);
    /// @}

    /// @name Read access to the working state, for hosts and tests
    /// @{
    const cv::Mat& GetSourceImage() const { return sourceImage_; }
    const cv::Mat& GetRegionMask() const { return regionMask_; }
    const cv::Mat& GetBinaryImage() const { return binaryImage_; }
    /// Replaces the working binary image (header assignment), e.g. to measure
    /// a mask that the host made itself.
    void SetBinaryImage(const cv::Mat& binary) { binaryImage_ = binary; }
    QGraphicsRectItem* GetCurrentRectItem() const { return rectItem_; }
    QGraphicsPolygonItem* GetCurrentPolygonItem() const { return polygonItem_; }
    QGraphicsLineItem* GetCurrentLineItem() const { return lineItem_; }
    const QPolygonF& GetDrawingPoints() const { return points_; }
    const QList<QGraphicsRectItem*>& GetRectItems() const { return rectItems_; }
    const QList<QGraphicsPolygonItem*>& GetPolygonItems() const { return polygonItems_; }
    const QList<QGraphicsLineItem*>& GetLineItems() const { return lineItems_; }
    const QList<QGraphicsPolygonItem*>& GetTargetItems() const { return targetItems_; }
    const QList<QGraphicsTextItem*>& GetIndexTextItems() const { return indexTextItems_; }
    int GetHighlightedIndex() const { return highlightedIndex_; }
    QGraphicsPolygonItem* GetHighlightOverlay() const { return highlightOverlay_; }
    bool IsMousePressed() const { return mousePressed_; }
    const ContourList& GetAllContours() const { return allContours_; }
    const std::vector<parResult>& GetAllResults() const { return allResults_; }
    const ContourList& GetValidContours() const { return validContours_; }
    const std::vector<parResult>& GetValidResults() const { return validResults_; }
    /// @}

    /// @name Module-wide settings, shared by every instance
    /// @{
    static int autoCountStep;
    static int regionSelectionMode;
    static int segmentMode;
    static int lowThresh;
    static int highThresh;
    static int histogramChannel;
    static int objectCutMode;
    static int displayMode;
    static bool isProcessBound;
    static QThread* autoCountThread;
    static AutoCutManager* autoCutManager;
    static TargetDrawPropertyManager targetDrawPropertyManager;
    static QMap<OBJECT_DATA_TYPE, QString> dataTypeNameMap;
    static QMap<QString, OBJECT_DATA_TYPE> nameDataTypeMap;
    static QMap<OBJECT_DATA_TYPE, OBJECT_DATA_RANGE*> dataRangeList;
    /// @}

private:
    DisplayCanvas* displayCanvas_ = nullptr;
    cv::Mat sourceImage_;
    cv::Mat regionMask_;
    cv::Mat binaryImage_;
    // Working buffers kept between calls, so that the binary image follows
    // the threshold slider (and a measurement run starts) without faulting
    // in fresh memory each time: the grey conversion of the source, and the
    // binary image before last.
    cv::Mat greyBuffer_;
    cv::Mat spareBinary_;
    QGraphicsScene* scene_ = nullptr;
    QGraphicsRectItem* rectItem_ = nullptr;
    QGraphicsPolygonItem* polygonItem_ = nullptr;
    QGraphicsLineItem* lineItem_ = nullptr;
    QPolygonF points_;
    QList<QGraphicsRectItem*> rectItems_;
    QList<QGraphicsPolygonItem*> polygonItems_;
    QList<QGraphicsLineItem*> lineItems_;
    QList<QGraphicsPolygonItem*> targetItems_;
    QList<QGraphicsTextItem*> indexTextItems_;
    int highlightedIndex_ = -1;
    QGraphicsPolygonItem* highlightOverlay_ = nullptr;
    bool mousePressed_ = false;
    ContourList allContours_;
    std::vector<parResult> allResults_;
    ContourList validContours_;
    std::vector<parResult> validResults_;
};

/// Value of @p type read from @p record in calibrated units (lengths times
/// the scale, areas times its square; centres, angles and grey values as
/// they are). Types above 14 give 0.0.
AUTOCOUNT_EXPORT double GetObjectDataValue(AutoCountManager::OBJECT_DATA_TYPE type,
                                           const parResult& record);

/// True when no enabled range of @p ranges rejects @p record; bounds are inclusive.
AUTOCOUNT_EXPORT bool IsObjectDataValid(
    QMap<AutoCountManager::OBJECT_DATA_TYPE, AutoCountManager::OBJECT_DATA_RANGE*>& ranges,
    const parResult& record);
