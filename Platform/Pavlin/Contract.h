// What the platform does with a broken promise between two parts of a program: it asks whether to stop in the
// debugger, reports the error to a sink, and lets the program go on.
#pragma once

#include <string>

namespace Pavlin::debug {

/// Tells the sink that a check failed. True when the person at the program wants to stop in the debugger; the
/// default sink never does.
bool BreakAfterContractDialog(const char* inExpression, const char* inSourcePath, int inLine);

/// Whether a debugger is attached to this process.
bool IsDebuggerAttached();

/// Stops in the debugger, which may let the program go on; without one this ends the program.
void Break();

}  // namespace Pavlin::debug

namespace Pavlin::config {

/// A text to put into a message; contract reports use none.
struct ReplacementValue {
    std::string text;
};

/// Reports an error to the sink and returns. inMessageKey has the form "$$$/Path/Of/Key=Text"; inCode tells
/// the kind of error within the family inNumber.
void ThrowError(int inLevel, const char* inMessageKey, int inNumber, int inCode, bool inIsFinal,
                const ReplacementValue& inFirst, const ReplacementValue& inSecond,
                const ReplacementValue& inThird, const ReplacementValue& inFourth);

/// Receives what the two functions above are told. Calls may come from any thread, several at once.
class ErrorSink {
  public:
    virtual ~ErrorSink() = default;
    /// A failed check; true asks for a stop in the debugger.
    virtual bool OnContractViolation(const char* inExpression, const char* inSourcePath, int inLine) = 0;
    /// An error report.
    virtual void OnError(int inLevel, const char* inMessageKey, int inNumber, int inCode) = 0;
};

/// Replaces the sink of this process and returns the one before; null restores the default, which calls the
/// host's Pavlin_OnContractViolation if the host defines it and else writes one line to the error stream.
/// The sink stays the caller's and must outlive its use.
ErrorSink* SetErrorSink(ErrorSink* inSink);

}  // namespace Pavlin::config
