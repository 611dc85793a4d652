// The default sink, the process's current sink, and the debugger test.
#include "Pavlin/Contract.h"

#include <atomic>
#include <csignal>
#include <cstdio>
#include <cstring>

// A host may define this (see include/Vexmora/ContractSink.h); weak, so that it need not.
extern "C" __attribute__((weak)) void Pavlin_OnContractViolation(const char* inExpression,
                                                                 const char* inSourcePath, int inLine);

namespace Pavlin {
namespace {

class DefaultSink final : public config::ErrorSink {
  public:
    bool OnContractViolation(const char* inExpression, const char* inSourcePath, int inLine) override {
        if (Pavlin_OnContractViolation != nullptr) {
            Pavlin_OnContractViolation(inExpression, inSourcePath, inLine);
        } else {
            std::fprintf(stderr, "vexmora: contract violation: %s (%s:%d)\n", inExpression, inSourcePath,
                         inLine);
        }
        return false;
    }
    void OnError(int, const char*, int, int) override {}  // the violation itself was reported already
};

DefaultSink gDefaultSink;
// Written by SetErrorSink, read by every report.
std::atomic<config::ErrorSink*> gSink{&gDefaultSink};

}  // namespace

bool debug::BreakAfterContractDialog(const char* inExpression, const char* inSourcePath, int inLine) {
    return gSink.load()->OnContractViolation(inExpression, inSourcePath, inLine);
}

bool debug::IsDebuggerAttached() {
    bool attached = false;
    if (std::FILE* status = std::fopen("/proc/self/status", "re")) {
        char line[256];
        while (std::fgets(line, sizeof line, status) != nullptr) {
            int tracer = 0;
            if (std::sscanf(line, "TracerPid: %d", &tracer) == 1) attached = tracer != 0;  // NOLINT
        }
        std::fclose(status);
    }
    return attached;
}

void debug::Break() {
    static_cast<void>(std::raise(SIGTRAP));
}

void config::ThrowError(int inLevel, const char* inMessageKey, int inNumber, int inCode, bool,
                        const ReplacementValue&, const ReplacementValue&, const ReplacementValue&,
                        const ReplacementValue&) {
    gSink.load()->OnError(inLevel, inMessageKey, inNumber, inCode);
}

config::ErrorSink* config::SetErrorSink(ErrorSink* inSink) {
    return gSink.exchange(inSink != nullptr ? inSink : &gDefaultSink);
}

}  // namespace Pavlin
