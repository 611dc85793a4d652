// Scales and their names.
#include "movies/Scales.h"

#include <algorithm>

namespace VexmoraCommand {

const std::map<std::string, VexmoraHost::Scale>& ScalesByName() {
    using VexmoraHost::Scale;
    static const std::map<std::string, Scale> kScales = {
        {"full", Scale::Full}, {"half", Scale::HalfWidth}, {"quarter", Scale::Quarter}};
    return kScales;
}

const std::string& NameOf(VexmoraHost::Scale inScale) {
    const auto& scales = ScalesByName();
    return std::find_if(scales.begin(), scales.end(),
                        [&](const auto& inEntry) { return inEntry.second == inScale; })
        ->first;
}

}  // namespace VexmoraCommand
