// Facts of the index in Python's terms.
#include "Facts.h"

#include <pybind11/stl/filesystem.h>

#include <algorithm>
#include <string>

#include "Frame.h"
#include "Interrupt.h"
#include "pictures/VideoFormat.h"

namespace VexmoraPython {

namespace py = pybind11;

namespace {

py::object FractionOf(const VexmoraCommand::Ratio& inRatio) {
    if (!inRatio.IsKnown()) return py::none();
    return py::module_::import("fractions").attr("Fraction")(inRatio.numerator, inRatio.denominator);
}

const char* NameOf(VexmoraHost::StreamKind inKind) {
    switch (inKind) {
        case VexmoraHost::StreamKind::Elementary:
            return "elementary";
        case VexmoraHost::StreamKind::Program:
            return "program";
        case VexmoraHost::StreamKind::Transport:
            return "transport";
    }
    return "";
}

const char* NameOf(VexmoraCommand::FieldOrder inOrder) {
    switch (inOrder) {
        case VexmoraCommand::FieldOrder::Progressive:
            return "progressive";
        case VexmoraCommand::FieldOrder::TopFirst:
            return "top";
        case VexmoraCommand::FieldOrder::BottomFirst:
            return "bottom";
        case VexmoraCommand::FieldOrder::Mixed:
            return "mixed";
    }
    return "";
}

const char* NameOf(VexmoraCommand::ColourMatrix inMatrix) {
    return inMatrix == VexmoraCommand::ColourMatrix::Bt709 ? "bt709" : "bt601";
}

// Named and laid out as Vexmora::FrameRecord.
py::dtype RecordType() {
    using Vexmora::FrameRecord;
    py::list names;
    py::list formats;
    py::list offsets;
    const auto add = [&](const char* inName, const char* inFormat, std::size_t inOffset) {
        names.append(inName);
        formats.append(inFormat);
        offsets.append(inOffset);
    };
    add("offset", "<u8", offsetof(FrameRecord, offset));
    add("size", "<u4", offsetof(FrameRecord, size));
    add("flags", "<u2", offsetof(FrameRecord, flags));
    add("past_ref_delta", "i1", offsetof(FrameRecord, pastRefDelta));
    add("future_ref_delta", "i1", offsetof(FrameRecord, futureRefDelta));
    return {names, formats, offsets, sizeof(FrameRecord)};
}

}  // namespace

py::dict InfoOf(const OpenMovie& inOpened) {
    const VexmoraHost::Movie& movie = inOpened.movie;
    const VexmoraHost::MovieInfo& info = movie.Info();
    const VexmoraHost::VideoFormat format = VexmoraCommand::FormatOf(info);
    py::dict facts;
    facts["path"] = movie.Path();
    facts["index_path"] = movie.IndexPath();
    facts["was_indexed"] = movie.WasIndexed();
    facts["stream_kind"] = NameOf(info.streamKind);
    facts["stream_length"] = info.index.streamLength;
    facts["frame_count"] = info.frameCount;
    facts["first_frame"] = info.firstFrame;
    facts["record_count"] = movie.Records().size();
    facts["width"] = format.width;
    facts["height"] = format.height;
    facts["display_width"] = format.displayWidth;
    facts["display_height"] = format.displayHeight;
    facts["sample_aspect"] = FractionOf(VexmoraCommand::SampleAspect(format, VexmoraHost::Scale::Full));
    facts["frame_rate"] = FractionOf(VexmoraCommand::FrameRate(info));
    facts["effective_frame_rate"] = FractionOf(VexmoraCommand::EffectiveRate(info, format));
    facts["field_order"] = NameOf(VexmoraCommand::FieldOrderOf(info.index));
    facts["colour_matrix"] = NameOf(VexmoraCommand::MatrixOf(info.index, format.height));
    return facts;
}

py::array RecordsOf(const std::shared_ptr<OpenMovie>& inOpened) {
    const auto& records = inOpened->movie.Records();
    return ReadOnly(RecordType(), {records.size()}, {sizeof(Vexmora::FrameRecord)}, records.data(), inOpened);
}

py::array PresentationTimesOf(OpenMovie& ioOpened) {
    const VexmoraHost::MovieInfo& info = ioOpened.movie.Info();
    py::array_t<std::int64_t> times(static_cast<py::ssize_t>(info.frameCount));
    std::int64_t* const out = times.mutable_data();
    ApartWith(ioOpened, [&](VexmoraHost::Movie& ioMovie) {
        const auto& records = ioMovie.Details(EndedBySignal()).records;
        for (std::size_t frame = 0; frame < info.frameCount; ++frame)
            out[frame] = records.at(info.firstFrame + frame).presentationTime;
    });
    return times;
}

}  // namespace VexmoraPython
