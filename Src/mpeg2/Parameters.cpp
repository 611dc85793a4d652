// The default matrix, loading matrices, and finding the one in use.
#include "mpeg2/Parameters.h"

namespace Vexmora {

namespace {

// Default intra_quantiser_matrix (ISO/IEC 13818-2, 6.3.11).
constexpr QuantiserMatrix kDefaultIntraMatrix = {
    8,  16, 19, 22, 26, 27, 29, 34,  //
    16, 16, 22, 24, 27, 29, 34, 37,  //
    19, 22, 26, 27, 29, 34, 34, 38,  //
    22, 22, 26, 27, 29, 34, 37, 40,  //
    22, 26, 27, 29, 32, 35, 40, 48,  //
    26, 27, 29, 32, 35, 40, 48, 58,  //
    26, 27, 29, 34, 38, 46, 56, 69,  //
    27, 29, 35, 38, 46, 56, 69, 83,
};

}  // namespace

const QuantiserMatrix* QuantiserMatrices::Find(MatrixSource inSource) const {
    switch (inSource) {
        case MatrixSource::Flat:
            return nullptr;
        case MatrixSource::DefaultIntra:
            return &kDefaultIntraMatrix;
        case MatrixSource::LoadedIntra:
            return &loadedIntra;
        case MatrixSource::LoadedNonIntra:
            return &loadedNonIntra;
        case MatrixSource::LoadedChromaIntra:
            return &loadedChromaIntra;
        case MatrixSource::LoadedChromaNonIntra:
            return &loadedChromaNonIntra;
    }
    return nullptr;
}

void QuantiserMatrices::Load(const MatrixLoads& inLoads) {
    if (inLoads.intra) {
        loadedIntra = *inLoads.intra;
        intraLuma = intraChroma = MatrixSource::LoadedIntra;
    }
    if (inLoads.nonIntra) {
        loadedNonIntra = *inLoads.nonIntra;
        nonIntraLuma = nonIntraChroma = MatrixSource::LoadedNonIntra;
    }
    if (inLoads.chromaIntra) {
        loadedChromaIntra = *inLoads.chromaIntra;
        intraChroma = MatrixSource::LoadedChromaIntra;
    }
    if (inLoads.chromaNonIntra) {
        loadedChromaNonIntra = *inLoads.chromaNonIntra;
        nonIntraChroma = MatrixSource::LoadedChromaNonIntra;
    }
}

}  // namespace Vexmora
