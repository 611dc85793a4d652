// Where the command begins and ends, whatever ends it.
#include <csignal>
#include <exception>
#include <new>

#include "CommandError.h"
#include "CommandLine.h"
#include "files/StandardOutput.h"
#include "terminal/Interrupt.h"

int main(int inArgumentCount, char** inArguments) {
    using namespace VexmoraCommand;
    // A reader that went away is then seen as a failed write.
    std::signal(SIGPIPE, SIG_IGN);
    try {
        return static_cast<int>(RunCommandLine(inArgumentCount, inArguments));
    } catch (const Interrupted& interrupted) {
        TellError(interrupted.file + ": interrupted (run it again)");
        EndBySignal(interrupted.signal);
    } catch (const OutputClosed&) {
    } catch (const std::bad_alloc&) {
        TellError("there is not enough memory (end other programs, or ask for smaller pictures)");
    } catch (const std::exception& problem) {
        TellError(problem.what());
        if (const auto* known = dynamic_cast<const CommandError*>(&problem))
            return static_cast<int>(known->Status());
    }
    return static_cast<int>(ExitStatus::Failed);
}
