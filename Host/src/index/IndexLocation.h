// The table of index-location functions.
#pragma once

#include "Vexmora/HostServices.h"

namespace VexmoraHost {

/// Answers out of IndexSession::Current.
extern const Vexmora::IndexLocationTable kIndexLocation;

}  // namespace VexmoraHost
