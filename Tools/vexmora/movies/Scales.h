// The names of the sizes in which pictures are decoded.
#pragma once

#include <map>
#include <string>

#include "VexmoraHost/Picture.h"

namespace VexmoraCommand {

/// "full", "half" (half as wide) and "quarter" (half as wide and half as high).
const std::map<std::string, VexmoraHost::Scale>& ScalesByName();

const std::string& NameOf(VexmoraHost::Scale inScale);

}  // namespace VexmoraCommand
