// Picking out of a delivery the headers that outlast its picture.
#include "mpeg2/ParameterChange.h"

#include "mpeg2/Headers.h"

namespace Vexmora {

void ParameterChange::Add(const CodedPictureBuffer& inDelivery) {
    BitReader reader(inDelivery);
    PictureParameters picture;
    ReadPictureIdentity(reader, picture.picture);
    if (ParsePictureHeader(reader, picture) == DecodeStatus::Ok && !picture.loads.IsNone())
        loads = picture.loads;
    BitReader headers(inDelivery);
    if (const auto last = LastSequenceHeader(headers)) sequence = last;
}

void ParameterChange::ApplyTo(SequenceParameters& ioParameters) const {
    if (sequence) {
        ioParameters = *sequence;
    } else {
        ioParameters.matrices.Load(loads);
    }
}

std::optional<SequenceParameters> LastSequenceHeader(BitReader& ioReader) {
    std::optional<SequenceParameters> last;
    SequenceParameters parameters;
    while (FindSequenceHeader(ioReader)) {
        if (ParseSequenceHeader(ioReader, parameters) == DecodeStatus::Ok) last = parameters;
    }
    return last;
}

}  // namespace Vexmora
