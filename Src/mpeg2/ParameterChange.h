// What a coded picture changes for the pictures behind it.
#pragma once

#include <optional>

#include "CodedPicture/CodedPictureBuffer.h"
#include "mpeg2/BitReader.h"
#include "mpeg2/Parameters.h"

namespace Vexmora {

/// Its own quantiser matrix extensions, and the sequence headers between it and the next picture. A sequence
/// header that does not parse changes nothing.
struct ParameterChange {
    /// Adds what a delivery brings that begins behind a picture start code or a sequence end code, its words
    /// in host order.
    void Add(const CodedPictureBuffer& inDelivery);
    bool IsNone() const { return !sequence && loads.IsNone(); }
    void ApplyTo(SequenceParameters& ioParameters) const;

    MatrixLoads loads;
    /// Of the last sequence header. It takes the place of everything before, the matrices of this picture,
    /// too.
    std::optional<SequenceParameters> sequence;
};

/// The parameters of the last sequence header from ioReader on that parses, if there is one. Afterwards no
/// start code is left.
std::optional<SequenceParameters> LastSequenceHeader(BitReader& ioReader);

}  // namespace Vexmora
