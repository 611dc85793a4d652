// Planes, colours, times and damage of one picture.
#include "Frame.h"

#include <cstdio>
#include <utility>

#include "Interrupt.h"
#include "movies/FrameFormats.h"
#include "pictures/RgbImage.h"
#include "pictures/VideoFormat.h"

namespace VexmoraPython {

namespace py = pybind11;

using VexmoraHost::Movie;

Frame::Frame(std::shared_ptr<OpenMovie> inOpened, VexmoraHost::SharedPicture inPicture,
             std::uint32_t inNumber)
    : mOpened(std::move(inOpened)), mPicture(std::move(inPicture)), mNumber(inNumber) {}

std::uint32_t Frame::RecordIndex() const {
    return mOpened->movie.Info().firstFrame + mPicture->frame;
}

const Vexmora::FrameRecord& Frame::Record() const {
    return mOpened->movie.Records().at(RecordIndex());
}

py::array Frame::Plane(VexmoraHost::Plane VexmoraHost::Picture::*inPlane) const {
    const VexmoraHost::Plane& plane = (*mPicture).*inPlane;
    return ReadOnly(py::dtype::of<std::uint8_t>(), {plane.height, plane.width}, {plane.stride, 1U},
                    plane.samples, mPicture);
}

py::array Frame::Rgb(bool inSquare) const {
    using namespace VexmoraCommand;
    auto format =
        ApartWith(*mOpened, [&](Movie& ioMovie) { return FrameFormats(ioMovie).At(mPicture->frame); });
    RgbImage image = Apart([&] {
        const std::uint32_t width = mPicture->luma.width;
        const Ratio aspect = SampleAspect(format, mPicture->scale);
        return ToRgb(*mPicture, {.matrix = MatrixOf(mOpened->movie.Info().index, format.height),
                                 .isInterlaced = IsInterlaced(mOpened->movie, *mPicture),
                                 .width = inSquare ? ViewingWidth(width, aspect) : width,
                                 .height = mPicture->luma.height});
    });
    auto* const kept = new RgbImage(std::move(image));
    const py::capsule base(kept, [](void* inKept) { delete static_cast<RgbImage*>(inKept); });
    return py::array_t<std::uint8_t>({kept->height, kept->width, RgbImage::kBytesPerSample},
                                     kept->samples.data(), base);
}

VexmoraHost::RecordDetails Frame::Details() const {
    return ApartWith(
        *mOpened, [&](Movie& ioMovie) { return ioMovie.Details(EndedBySignal()).records.at(RecordIndex()); });
}

py::object Frame::PresentationTime() const {
    const std::int64_t time = Details().presentationTime;
    if (time == VexmoraHost::kNoTime) return py::none();
    return py::int_(time);
}

py::object Frame::TimeCode() const {
    const auto code = Details().timeCode;
    if (!code) return py::none();
    std::array<char, 32> text{};
    std::snprintf(text.data(), text.size(), "%02u:%02u:%02u%c%02u", unsigned{code->hours},
                  unsigned{code->minutes}, unsigned{code->seconds}, code->isDropFrame ? ';' : ':',
                  unsigned{code->pictures});
    return py::str(text.data());
}

std::string Frame::Description() const {
    return "<vexmora.Frame " + std::to_string(mNumber) + ": " + std::to_string(mPicture->luma.width) + "x" +
           std::to_string(mPicture->luma.height) + (mPicture->damage.None() ? ">" : ", damaged>");
}

namespace {

py::object TypeOf(const Frame& inFrame) {
    const unsigned type = Vexmora::PictureCodingType(inFrame.Record());
    if (type == 0) return py::none();
    return py::str(std::string(1, " IPB"[type]));
}

template <std::uint16_t kBit>
bool Flag(const Frame& inFrame) {
    return (inFrame.Record().flags & kBit) != 0;
}

}  // namespace

void DefineFrame(py::module_& ioModule) {
    using VexmoraHost::Picture;
    py::class_<Frame>(ioModule, "Frame", "A decoded picture, with what is known about its soundness.")
        .def_property_readonly("number", &Frame::Number, "That was asked for.")
        .def_property_readonly("record", &Frame::RecordIndex,
                               "Where Movie.records has the picture that is shown.")
        .def_property_readonly("y", [](const Frame& inFrame) { return inFrame.Plane(&Picture::luma); })
        .def_property_readonly("u", [](const Frame& inFrame) { return inFrame.Plane(&Picture::cb); })
        .def_property_readonly("v", [](const Frame& inFrame) { return inFrame.Plane(&Picture::cr); })
        .def("rgb", &Frame::Rgb, py::kw_only(), py::arg("square") = false)
        .def_property_readonly("damaged",
                               [](const Frame& inFrame) { return !inFrame.Picture().damage.None(); })
        .def_property_readonly(
            "undecodable", [](const Frame& inFrame) { return inFrame.Picture().damage.status != Vexmora_Ok; })
        .def_property_readonly("damaged_macroblocks",
                               [](const Frame& inFrame) { return inFrame.Picture().damage.macroblocks; })
        .def_property_readonly("inherited_damage",
                               [](const Frame& inFrame) { return inFrame.Picture().damage.inherited; })
        .def_property_readonly("stands_in",
                               [](const Frame& inFrame) { return inFrame.Picture().damage.standsIn; })
        .def_property_readonly("macroblocks",
                               [](const Frame& inFrame) { return inFrame.Picture().macroblocks; })
        .def_property_readonly("type", &TypeOf)
        .def_property_readonly(
            "temporal_reference",
            [](const Frame& inFrame) { return Vexmora::TemporalReference(inFrame.Record()); })
        .def_property_readonly("progressive", &Flag<Vexmora::kProgressiveFrameBit>)
        .def_property_readonly("top_field_first", &Flag<Vexmora::kTopFieldFirstBit>)
        .def_property_readonly("repeat_first_field", &Flag<Vexmora::kRepeatFirstFieldBit>)
        .def_property_readonly("broken_link", &Flag<Vexmora::kBrokenLinkBit>)
        .def_property_readonly("presentation_time", &Frame::PresentationTime)
        .def_property_readonly("time_code", &Frame::TimeCode)
        .def("__repr__", &Frame::Description);
}

}  // namespace VexmoraPython
