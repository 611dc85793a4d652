// What the process keeps between the first Vexmora_Startup and the last Vexmora_Shutdown.
#pragma once

#include <boost/shared_ptr.hpp>

#include "Pavlin/Executor.h"

namespace Vexmora {

/// What Vexmora_Startup and Vexmora_Shutdown do. Any thread. The first throws what the platform throws, with
/// nothing changed.
void Startup();
void Shutdown();

/// The executor that pictures are split over; empty while the library is stopped. Written only by start-up
/// and shut-down; a shut-down must not run while a picture is being decoded.
const boost::shared_ptr<Pavlin::threads::AsyncExecutor>& CpuExecutor();

}  // namespace Vexmora
