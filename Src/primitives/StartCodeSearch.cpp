// The start-code search of the selected variant.
#include "primitives/StartCodeSearch.h"

#include "primitives/PrimitiveTable.h"

namespace Vexmora {

std::size_t FindStartCodePrefix(const std::uint8_t* inBytes, std::size_t inPositions) {
    return SelectedPrimitives().findStartCodePrefix(inBytes, inPositions);
}

}  // namespace Vexmora
