// The engine's own time for one count, for bench/python_bench.py: the
// baseline that autocount.count is measured against in the same run.

#include <pybind11/numpy.h>
#include <pybind11/pybind11.h>

#include "countrun.h"

#include <chrono>
#include <stdexcept>

namespace py = pybind11;

PYBIND11_MODULE(autocount_enginetimer, m)
{
    m.def(
        "count_seconds",
        [](const py::array_t<uint8_t, py::array::c_style>& bgr) {
            if (bgr.ndim() != 3 || bgr.shape(2) != 3)
                throw std::invalid_argument("expected a (rows, columns, 3) BGR array");
            const cv::Mat image(static_cast<int>(bgr.shape(0)), static_cast<int>(bgr.shape(1)),
                                CV_8UC3, const_cast<uint8_t*>(bgr.data()));
            std::chrono::duration<double> took{};
            int count = 0;
            QString error;
            {
                py::gil_scoped_release release;
                const auto start = std::chrono::steady_clock::now();
                {
                    // The results are freed inside the timing, as a front end frees them.
                    const countrun::CountResult counted = countrun::Count(image, CountSettings());
                    const ImageResult result = countrun::Summarise(QString(), counted);
                    error = counted.error;
                    count = result.count;
                }
                took = std::chrono::steady_clock::now() - start;
            }
            if (!error.isEmpty())
                throw std::runtime_error(error.toStdString());
            return py::make_tuple(took.count(), count);
        },
        py::arg("bgr"),
        "Counts an 8-bit BGR array with the default settings through countrun::Count and "
        "Summarise; returns (seconds, count).");
}
