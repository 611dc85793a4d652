// The report of a failed check.
#include "Contract/Contract.h"

#include "Pavlin/Contract.h"

namespace Vexmora {
namespace {

constexpr int kErrorLevel = 0;
constexpr int kErrorNumber = 105;

struct ReportText {
    const char* messageKey;
    int code;
};
constexpr ReportText kInputReport{
    "$$$/Pavlin/utility/Error/Contract/InputContractViolation=An input contract violation has occurred!", 25};
constexpr ReportText kOutputReport{
    "$$$/Pavlin/utility/Error/Contract/OutputContractViolation=An output contract violation has occurred!",
    26};

}  // namespace

void ReportViolation(const ContractCheck& inCheck) {
    if (Pavlin::debug::BreakAfterContractDialog(inCheck.expression, inCheck.source, inCheck.line) &&
        Pavlin::debug::IsDebuggerAttached()) {
        Pavlin::debug::Break();
    }
    const ReportText& report = inCheck.kind == ContractKind::Input ? kInputReport : kOutputReport;
    const Pavlin::config::ReplacementValue none;
    Pavlin::config::ThrowError(kErrorLevel, report.messageKey, kErrorNumber, report.code, true, none, none,
                               none, none);
}

}  // namespace Vexmora
