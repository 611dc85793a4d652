// How the command ends, and the one type by which everything that goes wrong travels to where it is told.
#pragma once

#include <exception>
#include <string>
#include <string_view>
#include <system_error>

namespace VexmoraCommand {

/// What the command answers the shell with; --help and the manual list the same values.
enum class ExitStatus : int {
    Done = 0,
    /// Reading or writing failed, or the data is damaged.
    Failed = 1,
    /// The command line was wrong.
    Usage = 2,
    /// The file holds nothing that the library can index.
    NotSupported = 3,
};

/// One thing that went wrong with one file: thrown where it is noticed, told by TellError.
class CommandError : public std::exception {
  public:
    /// @param inFile the file as the user named it. @param inWhat what is wrong. @param inAdvice what to do.
    CommandError(ExitStatus inStatus, std::string_view inFile, std::string_view inWhat,
                 std::string_view inAdvice);
    /// @param inText "FILE: what is wrong (what to do)".
    CommandError(ExitStatus inStatus, std::string_view inText);

    /// A failed system call: its text from inError, its advice by the kind of error.
    static CommandError FromSystem(std::string_view inFile, std::error_code inError);

    ExitStatus Status() const { return mStatus; }
    /// "FILE: what is wrong (what to do)", always one line.
    const char* what() const noexcept override { return mText.c_str(); }

  private:
    ExitStatus mStatus;
    std::string mText;
};

/// Writes "vexmora: inText" as one line to standard error.
void TellError(std::string_view inText);

/// inText with every control character shown as '?': what is put on a line cannot break or colour it.
std::string OnOneLine(std::string_view inText);

}  // namespace VexmoraCommand
