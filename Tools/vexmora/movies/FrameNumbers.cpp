// Reading of frame numbers, each checked against what the file has.
#include "movies/FrameNumbers.h"

#include <fmt/core.h>

#include <charconv>

#include "CommandError.h"

namespace VexmoraCommand {

namespace {

// Reads the numbers of one text about one file.
class NumberReader {
  public:
    NumberReader(std::string_view inText, const std::string& inFile, std::uint32_t inFrameCount)
        : mText(inText), mFile(inFile), mFrameCount(inFrameCount) {
        if (inFrameCount == 0) {
            throw CommandError(ExitStatus::Failed, inFile, "no frame of it can be decoded",
                               "'vexmora info --records' lists what it holds");
        }
    }

    std::uint32_t Number(std::string_view inDigits) const {
        std::uint32_t number = 0;
        const char* const end = inDigits.data() + inDigits.size();
        const auto [stop, error] = std::from_chars(inDigits.data(), end, number);
        if (error == std::errc::invalid_argument || stop != end) Refuse();
        if (error == std::errc::result_out_of_range || number >= mFrameCount) {
            throw CommandError(ExitStatus::Usage, mFile, fmt::format("it has no frame {}", inDigits),
                               fmt::format("its frames are 0 to {}", mFrameCount - 1));
        }
        return number;
    }
    [[noreturn]] void Refuse() const {
        throw CommandError(ExitStatus::Usage, mFile, fmt::format("'{}' does not name frames", mText),
                           "write 37, 5,7 or 10-20; a range is 10:20");
    }

  private:
    const std::string_view mText;
    const std::string& mFile;
    const std::uint32_t mFrameCount;
};

void AddRange(std::uint32_t inFrom, std::uint32_t inTo, std::vector<std::uint32_t>& ioNumbers) {
    for (std::uint32_t number = inFrom; number != inTo; inFrom < inTo ? ++number : --number) {
        ioNumbers.push_back(number);
    }
    ioNumbers.push_back(inTo);
}

}  // namespace

std::vector<std::uint32_t> ParseFrameList(std::string_view inText, const std::string& inFile,
                                          std::uint32_t inFrameCount) {
    const NumberReader reader(inText, inFile, inFrameCount);
    std::vector<std::uint32_t> numbers;
    for (std::size_t start = 0; start <= inText.size();) {
        const std::size_t comma = std::min(inText.find(',', start), inText.size());
        const std::string_view item = inText.substr(start, comma - start);
        const std::size_t dash = std::min(item.find('-'), item.size());
        const std::uint32_t from = reader.Number(item.substr(0, dash));
        AddRange(from, dash == item.size() ? from : reader.Number(item.substr(dash + 1)), numbers);
        start = comma + 1;
    }
    return numbers;
}

FrameRange ParseFrameRange(std::string_view inText, const std::string& inFile, std::uint32_t inFrameCount) {
    const NumberReader reader(inText, inFile, inFrameCount);
    FrameRange range{0, inFrameCount - 1};
    if (inText.empty()) return range;
    const std::size_t colon = inText.find(':');
    if (colon == std::string_view::npos) reader.Refuse();
    if (colon > 0) range.first = reader.Number(inText.substr(0, colon));
    if (colon + 1 < inText.size()) range.last = reader.Number(inText.substr(colon + 1));
    if (range.last < range.first) {
        throw CommandError(ExitStatus::Usage, inFile,
                           fmt::format("the range '{}' ends before it begins", inText),
                           "write the lower number first");
    }
    return range;
}

}  // namespace VexmoraCommand
