// The compiled part of the Python module "autocount": numpy arrays and files
// in, the engine's count out. The pure-Python package (python/autocount)
// wraps these functions with keyword settings, type hints and pandas.

// Python's headers come first: they use the word "slots", which Qt's
// headers would otherwise take for a keyword (and QT_NO_KEYWORDS is set).
#include <pybind11/numpy.h>
#include <pybind11/pybind11.h>
#include <pybind11/stl.h>

#include "bitdepth.h"
#include "catalogue.h"
#include "countrun.h"
#include "imageinput.h"
#include "objectdata.h"
#include "settings.h"

#include "autocount/core/countcore.h"
#include "host/pixelformatadapter.h"

#include <QJsonDocument>
#include <QJsonObject>

#include <opencv2/imgproc.hpp>

#include <cmath>
#include <limits>
#include <memory>
#include <stdexcept>
#include <string>
#include <vector>

namespace py = pybind11;

namespace {

/// Bad settings: a ValueError in Python, with the command line's message.
class SettingsError : public std::runtime_error
{
public:
    using std::runtime_error::runtime_error;
};

/// A file that cannot be read or counted: an OSError in Python.
class FileError : public std::runtime_error
{
public:
    using std::runtime_error::runtime_error;
};

std::string Message(const UsageError& error)
{
    const QString where = error.option().isEmpty() ? QString() : error.option() + ": ";
    return (where + error.message()).toStdString();
}

/// Reads the settings JSON text that the Python side made from its keywords,
/// and checks them as the command line does (filter names included).
CountSettings ParseSettings(const std::string& json)
{
    QJsonParseError parseError;
    const QJsonDocument document =
        QJsonDocument::fromJson(QByteArray::fromStdString(json), &parseError);
    if (parseError.error != QJsonParseError::NoError || !document.isObject())
        throw SettingsError("the settings are not a JSON object");
    try {
        CountSettings settings =
            countsettings::FromJson(document.object(), CountSettings(), QString());
        catalogue::ResolveFilterNames(settings);
        countsettings::Validate(settings);
        return settings;
    } catch (const UsageError& error) {
        throw SettingsError(Message(error));
    }
}

std::string SettingsJson(const CountSettings& settings)
{
    return QJsonDocument(countsettings::ToJson(settings))
        .toJson(QJsonDocument::Compact)
        .toStdString();
}

/// What a count gives back to Python: the image's data record in numbers,
/// and the outlines, from which the label image is drawn when asked for.
struct PyResult
{
    ImageResult summary;
    ContourList contours;
    cv::Size size;
    std::string settings; ///< JSON of the settings used
    bool copied = false;  ///< the array's pixels were copied before the conversion
};

PyResult Finish(countrun::CountResult&& counted, const QString& file, const CountSettings& settings)
{
    if (!counted.error.isEmpty()) {
        if (!file.isEmpty())
            throw FileError(counted.error.toStdString());
        throw std::runtime_error(counted.error.toStdString());
    }
    if (counted.core.cancelled)
        throw std::runtime_error("the count was stopped");
    PyResult result;
    result.summary = countrun::Summarise(file, counted);
    result.contours = std::move(counted.core.validContours);
    result.size = counted.image.size();
    result.settings = SettingsJson(settings);
    return result;
}

/// True when @p array's pixels can be read in place as a cv::Mat: rows at any
/// positive step, the pixels of a row and the samples of a pixel packed.
bool Wrappable(const py::array& array)
{
    const py::ssize_t item = array.itemsize();
    const py::ssize_t channels = array.ndim() == 3 ? array.shape(2) : 1;
    if (array.ndim() == 3 && array.strides(2) != item)
        return false;
    if (array.strides(1) != item * channels)
        return false;
    return array.strides(0) >= item * channels * array.shape(1) && array.strides(0) % item == 0;
}

/// The array as a cv::Mat over the same memory; @p array must be Wrappable.
cv::Mat Wrap(const py::array& array)
{
    const int depth = array.itemsize() == 1 ? CV_8U : CV_16U;
    const int channels = array.ndim() == 3 ? static_cast<int>(array.shape(2)) : 1;
    return cv::Mat(static_cast<int>(array.shape(0)), static_cast<int>(array.shape(1)),
                   CV_MAKETYPE(depth, channels), const_cast<void*>(array.data()),
                   static_cast<size_t>(array.strides(0)));
}

/// Brings @p image into the module's 8-bit BGR as the file reader does:
/// deeper samples by the engine's one bit-depth rule (--bits, --range, else
/// the image's own minimum and maximum), then PixelFormatAdapter's planes;
/// with @p rgb, three or four channels are taken as R, G, B (and alpha)
/// rather than B, G, R.
cv::Mat ModuleImage(const cv::Mat& deep, bool rgb, const InputSettings& input)
{
    bitdepth::Request depth;
    depth.bits = input.bits;
    depth.range = input.range;
    const cv::Mat image = bitdepth::ToEightBit(deep, bitdepth::Choose(deep, depth));
    if (!rgb || image.channels() < 3)
        return PixelFormatAdapter::ToModuleFormat(image);
    cv::Mat bgr;
    if (image.depth() == CV_8U) {
        cv::cvtColor(image, bgr, image.channels() == 4 ? cv::COLOR_RGBA2BGR : cv::COLOR_RGB2BGR);
    } else {
        // The scaling works sample by sample, so it may come before the swap.
        cv::cvtColor(PixelFormatAdapter::ToModuleFormat(image), bgr, cv::COLOR_RGB2BGR);
    }
    return bgr;
}

/// Checks the array's type and shape; returns it as it may be wrapped,
/// copied into C order when its layout cannot be read in place.
py::array Prepare(const py::array& image, bool& copied)
{
    const py::dtype dtype = image.dtype();
    if (!dtype.is(py::dtype::of<uint8_t>()) && !dtype.is(py::dtype::of<uint16_t>()))
        throw py::type_error("image: expected a uint8 or uint16 array, got " +
                             py::str(py::handle(dtype)).cast<std::string>());
    if (image.ndim() != 2 && image.ndim() != 3)
        throw py::value_error("image: expected a 2-D (rows, columns) or 3-D (rows, columns, "
                              "channels) array, got " +
                              std::to_string(image.ndim()) + " dimensions");
    if (image.ndim() == 3 && (image.shape(2) < 1 || image.shape(2) > 4))
        throw py::value_error("image: expected 1 to 4 channels, got " +
                              std::to_string(image.shape(2)));
    if (image.shape(0) < 1 || image.shape(1) < 1)
        throw py::value_error("image: the array is empty");
    if (image.shape(0) > std::numeric_limits<int>::max() / 8 ||
        image.shape(1) > std::numeric_limits<int>::max() / 8)
        throw py::value_error("image: the array is too large");
    copied = !Wrappable(image);
    if (!copied)
        return image;
    if (dtype.is(py::dtype::of<uint8_t>()))
        return py::array_t<uint8_t, py::array::c_style>::ensure(image);
    return py::array_t<uint16_t, py::array::c_style>::ensure(image);
}

PyResult CountArray(const py::array& image, const std::string& settingsJson,
                    const std::string& order)
{
    if (order != "rgb" && order != "bgr")
        throw py::value_error("channel_order: expected 'rgb' or 'bgr', got '" + order + "'");
    const CountSettings settings = ParseSettings(settingsJson);
    bool copied = false;
    const py::array pixels = Prepare(image, copied);
    const cv::Mat wrapped = Wrap(pixels);
    PyResult result;
    {
        py::gil_scoped_release release;
        const cv::Mat bgr = ModuleImage(wrapped, order == "rgb", settings.input);
        result = Finish(countrun::Count(bgr, settings), QString(), settings);
    }
    result.copied = copied;
    return result;
}

PyResult CountFile(const std::string& path, const std::string& settingsJson)
{
    const CountSettings settings = ParseSettings(settingsJson);
    const QString file = QString::fromStdString(path);
    py::gil_scoped_release release;
    const InputImage input = ReadImage(file);
    if (!input.ok())
        throw FileError(input.error.toStdString());
    return Finish(countrun::Count(input.image, settings), file, settings);
}

/// A cv::Mat's pixels as a numpy array that keeps the matrix alive.
py::array MatArray(cv::Mat mat)
{
    auto* owner = new cv::Mat(std::move(mat));
    py::capsule capsule(owner, [](void* p) { delete static_cast<cv::Mat*>(p); });
    return py::array_t<int32_t>(
        {owner->rows, owner->cols},
        {static_cast<py::ssize_t>(owner->step[0]), static_cast<py::ssize_t>(sizeof(int32_t))},
        owner->ptr<int32_t>(), capsule);
}

py::object Optional(const std::optional<double>& value)
{
    return value ? py::object(py::float_(*value)) : py::object(py::none());
}

} // namespace

PYBIND11_MODULE(_autocount, m)
{
    m.doc() = "The compiled part of autocount; use the functions of the autocount package.";
    py::register_exception<SettingsError>(m, "SettingsError", PyExc_ValueError);
    py::register_exception<FileError>(m, "FileError", PyExc_OSError);

    py::class_<PyResult>(m, "CountResult")
        .def_property_readonly("file",
                               [](const PyResult& r) { return r.summary.file.toStdString(); })
        .def_property_readonly("count", [](const PyResult& r) { return r.summary.count; })
        .def_property_readonly("width", [](const PyResult& r) { return r.summary.width; })
        .def_property_readonly("height", [](const PyResult& r) { return r.summary.height; })
        .def_property_readonly("unit",
                               [](const PyResult& r) { return r.summary.unit.toStdString(); })
        .def_property_readonly("scale", [](const PyResult& r) { return r.summary.scale; })
        .def_property_readonly("thresholds",
                               [](const PyResult& r) {
                                   return py::make_tuple(r.summary.lowThreshold,
                                                         r.summary.highThreshold);
                               })
        .def_property_readonly("dish",
                               [](const PyResult& r) -> py::object {
                                   if (!r.summary.dish)
                                       return py::none();
                                   return py::make_tuple(r.summary.dish->x, r.summary.dish->y,
                                                         r.summary.dish->radius);
                               })
        .def_property_readonly("segmentation",
                               [](const PyResult& r) {
                                   return py::make_tuple(r.summary.plane.toStdString(),
                                                         r.summary.objectsKept.toStdString());
                               })
        .def_property_readonly("settings_json", [](const PyResult& r) { return r.settings; })
        .def_property_readonly("copied", [](const PyResult& r) { return r.copied; })
        .def_property_readonly(
            "rows",
            [](const PyResult& r) {
                const auto columns = static_cast<py::ssize_t>(objectdata::kColumnCount);
                py::array_t<double> rows(
                    {static_cast<py::ssize_t>(r.summary.objects.size()), columns});
                auto out = rows.mutable_unchecked<2>();
                for (size_t i = 0; i < r.summary.objects.size(); ++i)
                    for (py::ssize_t c = 0; c < columns; ++c)
                        out(static_cast<py::ssize_t>(i), c) =
                            r.summary.objects[i][static_cast<size_t>(c)];
                return rows;
            },
            "One row per object in the order of KEYS, as float64.")
        .def_property_readonly(
            "channel_keys",
            [](const PyResult& r) {
                std::vector<std::string> keys;
                for (const QString& key : r.summary.channelKeys)
                    keys.push_back(key.toStdString());
                return keys;
            },
            "The keys of the measurements in the other planes, e.g. mean_gray_c2.")
        .def_property_readonly(
            "channel_rows",
            [](const PyResult& r) {
                const auto columns = static_cast<py::ssize_t>(r.summary.channelKeys.size());
                py::array_t<double> rows(
                    {static_cast<py::ssize_t>(r.summary.channelRows.size()), columns});
                auto out = rows.mutable_unchecked<2>();
                for (size_t i = 0; i < r.summary.channelRows.size(); ++i)
                    for (py::ssize_t c = 0; c < columns; ++c)
                        out(static_cast<py::ssize_t>(i), c) =
                            static_cast<size_t>(c) < r.summary.channelRows[i].size()
                                ? r.summary.channelRows[i][static_cast<size_t>(c)]
                                : std::nan("");
                return rows;
            },
            "One row per object in the order of channel_keys, as float64.")
        .def_property_readonly(
            "preparation",
            [](const PyResult& r) -> py::object {
                if (!r.summary.preparation.ran)
                    return py::none();
                py::dict figures;
                for (const auto& [key, value] : preparation::Figures(r.summary.preparation))
                    figures[key] = value;
                return std::move(figures);
            },
            "What the preparation of the threshold chose, or None.")
        .def_property_readonly("statistics",
                               [](const PyResult& r) {
                                   py::dict statistics;
                                   for (const TypeStatistics& type : r.summary.statistics) {
                                       py::dict values;
                                       const auto all = type.values();
                                       for (size_t i = 0; i < all.size(); ++i)
                                           values[objectdata::StatisticKeys()[i]] =
                                               Optional(all[i]);
                                       statistics[py::str(type.name.toStdString())] = values;
                                   }
                                   return statistics;
                               })
        .def(
            "labels",
            [](const PyResult& r) {
                cv::Mat labels;
                {
                    py::gil_scoped_release release;
                    labels = countcore::LabelImage(r.size, r.contours);
                }
                return MatArray(std::move(labels));
            },
            "The label image: int32, 0 background, N on the pixels of object N.");

    std::vector<std::string> keys(objectdata::Keys().begin(), objectdata::Keys().end());
    m.attr("KEYS") = keys;
    std::vector<std::string> integers;
    for (int c = 0; c < objectdata::kColumnCount; ++c)
        if (objectdata::IsInteger(c))
            integers.push_back(keys[static_cast<size_t>(c)]);
    m.attr("INTEGER_KEYS") = integers;
    m.attr("STATISTIC_KEYS") = std::vector<std::string>(objectdata::StatisticKeys().begin(),
                                                        objectdata::StatisticKeys().end());
    m.attr("SCHEMA_VERSION") = objectdata::kSchemaVersion;
    m.attr("__version__") = AUTOCOUNT_VERSION;

    m.def("count", &CountArray, py::arg("image"), py::arg("settings_json"),
          py::arg("channel_order"),
          "Counts a uint8 or uint16 array; the settings as a JSON object text.");
    m.def("count_file", &CountFile, py::arg("path"), py::arg("settings_json"),
          "Reads and counts an image file as the command-line tool does.");
    m.def(
        "settings", [](const std::string& json) { return SettingsJson(ParseSettings(json)); },
        py::arg("settings_json"), "The complete, checked settings as a JSON object text.");
    m.def(
        "wrappable",
        [](const py::array& a) { return (a.ndim() == 2 || a.ndim() == 3) && Wrappable(a); },
        py::arg("image"), "True when the array's pixels are read in place, without a copy.");
}
