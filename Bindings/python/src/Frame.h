// A decoded picture as Python sees it.
#pragma once

#include <pybind11/numpy.h>
#include <pybind11/pybind11.h>

#include <cstdint>
#include <memory>
#include <string>

#include "OpenMovie.h"

namespace VexmoraPython {

/// Answers about one picture of a movie; keeps both.
class Frame {
  public:
    /// @param inNumber that was asked for.
    Frame(std::shared_ptr<OpenMovie> inOpened, VexmoraHost::SharedPicture inPicture, std::uint32_t inNumber);

    std::uint32_t Number() const { return mNumber; }
    const VexmoraHost::Picture& Picture() const { return *mPicture; }
    /// Index of the record of the picture that is shown.
    std::uint32_t RecordIndex() const;
    const Vexmora::FrameRecord& Record() const;

    /// The samples themselves, read-only, lines by samples; the array keeps the picture.
    pybind11::array Plane(VexmoraHost::Plane VexmoraHost::Picture::*inPlane) const;
    /// Lines by samples by red, green, blue.
    /// @param inSquare samples as wide as high, as they are meant to be seen, instead of as they are coded.
    pybind11::array Rgb(bool inSquare) const;

    /// What the stream tells of when it is shown; None where it does not. Reads the recording when that is
    /// asked for first.
    pybind11::object PresentationTime() const;
    pybind11::object TimeCode() const;

    std::string Description() const;

  private:
    VexmoraHost::RecordDetails Details() const;

    std::shared_ptr<OpenMovie> mOpened;
    VexmoraHost::SharedPicture mPicture;
    std::uint32_t mNumber;
};

/// An array of memory that inOwner keeps; nobody can make it writeable.
template <typename Owner>
pybind11::array ReadOnly(const pybind11::dtype& inType, pybind11::array::ShapeContainer inShape,
                         pybind11::array::StridesContainer inStrides, const void* inData, Owner inOwner) {
    const pybind11::capsule base(new Owner(std::move(inOwner)),
                                 [](void* inKept) { delete static_cast<Owner*>(inKept); });
    pybind11::array array(inType, std::move(inShape), std::move(inStrides), inData, base);
    array.attr("flags").attr("writeable") = false;
    return array;
}

void DefineFrame(pybind11::module_& ioModule);

}  // namespace VexmoraPython
