// Drawing and erasing the progress line.
#include "terminal/ProgressBar.h"

#include <fmt/core.h>

#include <algorithm>
#include <cstdio>
#include <filesystem>
#include <string_view>

#include "CommandError.h"
#include "reports/Units.h"
#include "terminal/Terminal.h"

namespace VexmoraCommand {

namespace {

constexpr std::chrono::milliseconds kDrawInterval{100};
constexpr std::size_t kNameColumns = 20;
// " 100 %  1023.9 MiB of 1023.9 GiB  1023.9 MiB/s  1000:00:00 left": kept free from the first drawing on, so
// that the bar stays where it is.
constexpr std::size_t kNumbersColumns = 64;
constexpr std::size_t kMinBarColumns = 8;
constexpr std::size_t kMaxBarColumns = 40;
// Until this much time has passed, rate and time left would be guesses.
constexpr double kSecondsBeforeRate = 0.5;

void WriteToTerminal(std::string_view inText) {
    std::fwrite(inText.data(), 1, inText.size(), stderr);
    std::fflush(stderr);
}

}  // namespace

ProgressBar::ProgressBar(const std::string& inFile, bool inQuiet, Unit inUnit)
    : mEnabled(!inQuiet && StandardErrorIsTerminal()),
      mUnit(inUnit),
      mName(OnOneLine(std::filesystem::path(inFile).filename().string())),
      mStart(Clock::now()),
      mNextDraw(mStart) {}

ProgressBar::~ProgressBar() {
    if (mEnabled) Erase();
}

void ProgressBar::Update(std::uint64_t inDone, std::uint64_t inTotal) {
    const auto now = Clock::now();
    if (!mEnabled || now < mNextDraw) return;
    mNextDraw = now + kDrawInterval;
    Erase();
    WriteToTerminal(Line(inDone, inTotal, std::chrono::duration<double>(now - mStart).count()));
}

std::string ProgressBar::Line(std::uint64_t inDone, std::uint64_t inTotal, double inSeconds) const {
    // A file that grows while it is read is never more than read to its end.
    const double total = static_cast<double>(std::max(inTotal, inDone));
    const double done = static_cast<double>(inDone);
    const double fraction = total > 0 ? done / total : 0;
    std::string numbers =
        fmt::format(" {:3.0f} %  {:>10} of {}", fraction * 100, Amount(done), Amount(total));
    if (mUnit == Unit::Frames) numbers += " frames";
    if (inSeconds >= kSecondsBeforeRate && done > 0) {
        const double rate = done / inSeconds;
        numbers += fmt::format("  {}/s  {} left", Amount(rate), ClockTime((total - done) / rate));
    }

    // The last column stays free: a full line would make some terminals wrap.
    const std::size_t columns = TerminalColumns() - 1;
    if (columns < kNumbersColumns + kMinBarColumns + 2) return numbers.substr(0, columns);
    std::size_t room = columns - kNumbersColumns - 2;
    std::string line;
    if (room >= kNameColumns + 1 + kMinBarColumns) {
        line = fmt::format("{:<{}.{}} ", mName, kNameColumns, kNameColumns);
        room -= kNameColumns + 1;
    }
    const std::size_t bar = std::min(room, kMaxBarColumns);
    const auto filled = static_cast<std::size_t>(fraction * static_cast<double>(bar));
    return line + "[" + std::string(filled, '#') + std::string(bar - filled, '.') + "]" + numbers;
}

std::string ProgressBar::Amount(double inUnits) const {
    return mUnit == Unit::Bytes ? HumanBytes(inUnits) : GroupedDigits(static_cast<std::uint64_t>(inUnits));
}

void ProgressBar::Erase() const {
    WriteToTerminal("\r\x1B[K");
}

}  // namespace VexmoraCommand
