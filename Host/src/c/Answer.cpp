// The last error of each thread.
#include "c/Answer.h"

#include <exception>
#include <new>
#include <string>
#include <utility>

#include "VexmoraHost/Error.h"
#include "c/SizedStruct.h"

// The host's statuses go to C as they are.
constexpr bool IsSame(vexmora_status inOfC, Vexmora_Status inOfHost) {
    return inOfC == inOfHost;
}
static_assert(IsSame(VEXMORA_OK, Vexmora_Ok) && IsSame(VEXMORA_FAILED, Vexmora_Failure) &&
              IsSame(VEXMORA_UNSUPPORTED, Vexmora_Unsupported) &&
              IsSame(VEXMORA_NO_SEQUENCE_HEADER, Vexmora_NoSequenceHeader) &&
              IsSame(VEXMORA_CANCELLED, Vexmora_NotFinished) &&
              IsSame(VEXMORA_NO_SUCH_FRAME, Vexmora_NoSuchFrame) &&
              IsSame(VEXMORA_INDEX_NOT_WRITTEN, Vexmora_IndexNotWritten) &&
              IsSame(VEXMORA_NO_CODED_PICTURE, Vexmora_NoCodedPicture) &&
              IsSame(VEXMORA_EMPTY_RECORD, Vexmora_EmptyRecord));

namespace VexmoraHost {
namespace {

struct ErrorTexts {
    std::string path;
    std::string problem;
    std::string advice;
    std::string text;
};

// Written and read by their thread alone. The pointers are into the texts, or to literals.
thread_local ErrorTexts gTexts;
thread_local vexmora_error gLastError{sizeof(vexmora_error), VEXMORA_OK, "", "", "", ""};

vexmora_status Remember(vexmora_status inStatus, ErrorTexts inTexts) noexcept {
    std::swap(gTexts, inTexts);
    gLastError = {sizeof(vexmora_error), inStatus,           gTexts.path.c_str(), gTexts.problem.c_str(),
                  gTexts.advice.c_str(), gTexts.text.c_str()};
    return inStatus;
}

// Rethrows what is being handled; std::bad_alloc comes out, of the texts too.
vexmora_status RememberException() {
    try {
        throw;
    } catch (const Misuse& misuse) {
        const std::string problem = misuse.problem;
        return Remember(misuse.status, {"", problem, misuse.advice, problem + " (" + misuse.advice + ")"});
    } catch (const Error& error) {
        return Remember(error.Status(),
                        {error.Path().native(), error.Problem(), error.Advice(), error.what()});
    } catch (const std::bad_alloc&) {
        throw;
    } catch (const std::exception& error) {
        return Remember(VEXMORA_INTERNAL, {"", error.what(), "", error.what()});
    } catch (...) {
        return Remember(VEXMORA_INTERNAL, {"", "an unknown exception", "", "an unknown exception"});
    }
}

}  // namespace

vexmora_status AnswerOfException() noexcept {
    try {
        return RememberException();
    } catch (...) {
        gLastError = {sizeof(vexmora_error),
                      VEXMORA_NO_MEMORY,
                      "",
                      "memory ran out",
                      "give back what is not needed",
                      "memory ran out (give back what is not needed)"};
        return VEXMORA_NO_MEMORY;
    }
}

}  // namespace VexmoraHost

vexmora_status vexmora_last_error(vexmora_error* out_error) {
    try {
        VexmoraHost::WriteStruct(VexmoraHost::gLastError, out_error);
        return VEXMORA_OK;
    } catch (const VexmoraHost::Misuse& misuse) {
        return misuse.status;
    }
}
