// The compiled part of the Python package: opening, frames, runs, and errors as exceptions.
#include <pybind11/functional.h>
#include <pybind11/pybind11.h>
#include <pybind11/stl.h>
#include <pybind11/stl/filesystem.h>

#include <memory>
#include <optional>
#include <string>
#include <utility>
#include <vector>

#include "Facts.h"
#include "Frame.h"
#include "Interrupt.h"
#include "OpenMovie.h"
#include "movies/FrameTimes.h"

namespace VexmoraPython {

namespace py = pybind11;

namespace {

using VexmoraHost::Movie;
using VexmoraHost::Scale;
using Handle = std::shared_ptr<OpenMovie>;

// The package has the classes.
void RaiseHostErrors(std::exception_ptr inThrown) {
    try {
        if (inThrown) std::rethrow_exception(inThrown);
    } catch (const VexmoraHost::Error& error) {
        const py::object raised = py::module_::import("vexmora.errors")
                                      .attr("from_status")(static_cast<int>(error.Status()), error.Path(),
                                                           error.Problem(), error.Advice());
        PyErr_SetObject(py::type::of(raised).ptr(), raised.ptr());
    }
}

// Frames decoded ahead.
class Run {
  public:
    Run(Handle inOpened, std::uint32_t inFirst, std::uint32_t inCount, Scale inScale, unsigned inThreads)
        : mOpened(std::move(inOpened)),
          mRun(ApartWith(*mOpened,
                         [&](Movie& ioMovie) {
                             return std::optional(ioMovie.Run(inFirst, inCount, inScale, inThreads));
                         })),
          mNext(inFirst) {}
    Run(const Run&) = delete;
    Run& operator=(const Run&) = delete;
    ~Run() {
        ApartWith(*mOpened, [&](Movie&) { mRun.reset(); });
    }

    Frame Next() {
        std::uint32_t number = 0;
        VexmoraHost::SharedPicture picture = ApartWith(*mOpened, [&](Movie&) {
            number = mNext++;
            return mRun->Next();
        });
        if (picture == nullptr) throw py::stop_iteration();
        return {mOpened, std::move(picture), number};
    }

  private:
    Handle mOpened;  // outlives the run
    std::optional<VexmoraHost::FrameRun> mRun;
    std::uint32_t mNext;
};

Handle Open(const std::vector<std::filesystem::path>& inPaths, VexmoraHost::OpenOptions inOptions,
            const py::object& inProgress) {
    inOptions.progress = EndedBySignal(inProgress);
    return Apart([&] { return std::make_shared<OpenMovie>(Movie::Open(inPaths, inOptions)); });
}

Frame FrameOf(const Handle& inOpened, std::uint32_t inNumber, Scale inScale) {
    return {inOpened, ApartWith(*inOpened, [&](Movie& ioMovie) { return ioMovie.Frame(inNumber, inScale); }),
            inNumber};
}

std::optional<std::vector<std::uint32_t>> FramesAt(OpenMovie& ioOpened, const std::string& inTime) {
    return ApartWith(ioOpened, [&](Movie& ioMovie) {
        return VexmoraCommand::TimesOf(ioMovie.Info(), [&]() -> const VexmoraHost::MovieDetails& {
            return ioMovie.Details(EndedBySignal());
        })(inTime);
    });
}

}  // namespace

}  // namespace VexmoraPython

PYBIND11_MODULE(_vexmora, ioModule) {
    using namespace VexmoraPython;
    ioModule.doc() = "The compiled part of vexmora.";
    py::register_local_exception_translator(RaiseHostErrors);

    py::enum_<Scale>(ioModule, "Scale")
        .value("full", Scale::Full)
        .value("half", Scale::HalfWidth)
        .value("quarter", Scale::Quarter);
    DefineFrame(ioModule);
    py::class_<Run>(ioModule, "Run")
        .def("__iter__", [](py::object inRun) { return inRun; })
        .def("__next__", &Run::Next);
    py::class_<OpenMovie, Handle>(ioModule, "OpenMovie")
        .def("info", &InfoOf)
        .def("records", &RecordsOf)
        .def("presentation_times", &PresentationTimesOf)
        .def("frames_at", &FramesAt, py::arg("time"))
        .def("frame", &FrameOf, py::arg("number"), py::arg("scale"))
        .def(
            "run",
            [](const Handle& inOpened, std::uint32_t inFirst, std::uint32_t inCount, Scale inScale,
               unsigned inThreads) {
                return std::make_unique<Run>(inOpened, inFirst, inCount, inScale, inThreads);
            },
            py::arg("first"), py::arg("count"), py::arg("scale"), py::arg("threads"));
    ioModule.def(
        "open",
        [](const std::vector<std::filesystem::path>& inPaths, std::filesystem::path inIndexDir, bool inForce,
           bool inConceal, std::optional<std::uint16_t> inProgram, std::optional<std::uint16_t> inPid,
           const py::object& inProgress) {
            return Open(inPaths,
                        {.indexDir = std::move(inIndexDir),
                         .forceReindex = inForce,
                         .concealErrors = inConceal,
                         .choice = {.program = inProgram, .pid = inPid}},
                        inProgress);
        },
        py::arg("paths"), py::arg("index_dir"), py::arg("force_reindex"), py::arg("conceal_errors"),
        py::arg("program"), py::arg("pid"), py::arg("progress"));
}
