// Which instruction sets this process may use.
#pragma once

namespace Orvet::SystemInfo {

/// Whether the processor has AVX and the operating system saves its registers; false off x86.
bool ProcessorSupportsAVX();

/// Whether AVX may be used and the processor has AVX2 as well; false off x86.
bool ProcessorSupportsAVX2();

}  // namespace Orvet::SystemInfo
