// One line on the terminal that shows how far work on a file has come.
#pragma once

#include <chrono>
#include <cstdint>
#include <string>

namespace VexmoraCommand {

/// Draws at most ten times a second and leaves an empty line behind. Draws nothing when standard error is not
/// a terminal.
class ProgressBar {
  public:
    /// What is counted.
    enum class Unit { Bytes, Frames };

    /// @param inFile the file as the user named it. @param inQuiet draw nothing at all.
    ProgressBar(const std::string& inFile, bool inQuiet, Unit inUnit = Unit::Bytes);
    ~ProgressBar();
    ProgressBar(const ProgressBar&) = delete;
    ProgressBar& operator=(const ProgressBar&) = delete;

    /// @param inDone, inTotal units.
    void Update(std::uint64_t inDone, std::uint64_t inTotal);

  private:
    using Clock = std::chrono::steady_clock;

    std::string Line(std::uint64_t inDone, std::uint64_t inTotal, double inSeconds) const;
    std::string Amount(double inUnits) const;
    void Erase() const;

    const bool mEnabled;
    const Unit mUnit;
    const std::string mName;
    const Clock::time_point mStart;
    Clock::time_point mNextDraw;
};

}  // namespace VexmoraCommand
