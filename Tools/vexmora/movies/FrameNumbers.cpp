// Reading of frame numbers, each checked against what the file has.
#include "movies/FrameNumbers.h"

#include <fmt/core.h>

#include <charconv>
#include <optional>
#include <utility>

#include "CommandError.h"

namespace VexmoraCommand {

namespace {

// Reads the frames of one text about one file.
class NumberReader {
  public:
    NumberReader(std::string_view inText, const std::string& inFile, std::uint32_t inFrameCount,
                 const FindTime& inFindTime)
        : mText(inText), mFile(inFile), mFrameCount(inFrameCount), mFindTime(inFindTime) {
        if (inFrameCount == 0) {
            throw CommandError(ExitStatus::Failed, inFile, "no frame of it can be decoded",
                               "'vexmora info --records' lists what it holds");
        }
    }

    // A number or a time.
    std::uint32_t Frame(std::string_view inItem) const {
        return inItem.find(':') == std::string_view::npos ? Number(inItem) : FrameAt(inItem);
    }
    std::uint32_t Number(std::string_view inDigits) const {
        std::uint32_t number = 0;
        const char* const end = inDigits.data() + inDigits.size();
        const auto [stop, error] = std::from_chars(inDigits.data(), end, number);
        if (error == std::errc::invalid_argument || stop != end) Refuse();
        if (error == std::errc::result_out_of_range || number >= mFrameCount) RefuseFrame(inDigits);
        return number;
    }
    [[noreturn]] void Refuse() const {
        throw CommandError(ExitStatus::Usage, mFile, fmt::format("'{}' does not name frames", mText),
                           "write 37, 5,7, 10-20 or 00:01:02:03; a range is 10:20 or "
                           "00:01:00:00..00:02:00.500");
    }

  private:
    std::uint32_t FrameAt(std::string_view inTime) const {
        const auto frames = mFindTime(inTime);
        if (!frames) Refuse();
        if (frames->empty()) RefuseFrame(inTime);
        if (frames->size() > 1) {
            throw CommandError(
                ExitStatus::Usage, mFile,
                fmt::format("{} of its frames have the time code {}", frames->size(), inTime),
                fmt::format("name frame {}, {} or another by its number", frames->at(0), frames->at(1)));
        }
        return frames->front();
    }
    [[noreturn]] void RefuseFrame(std::string_view inItem) const {
        throw CommandError(ExitStatus::Usage, mFile, fmt::format("it has no frame {}", inItem),
                           fmt::format("its frames are 0 to {}", mFrameCount - 1));
    }

    const std::string_view mText;
    const std::string& mFile;
    const std::uint32_t mFrameCount;
    const FindTime& mFindTime;
};

// The two ends of a range; either may be empty. Nothing where inText has no such form.
std::optional<std::pair<std::string_view, std::string_view>> EndsOf(std::string_view inText) {
    const auto endsAround = [&](std::size_t inAt, std::size_t inBytes) {
        return std::pair(inText.substr(0, inAt), inText.substr(inAt + inBytes));
    };
    if (const std::size_t dots = inText.find(".."); dots != std::string_view::npos)
        return endsAround(dots, 2);
    if (const std::size_t comma = inText.find(','); comma != std::string_view::npos)
        return endsAround(comma, 1);
    const std::size_t colon = inText.find(':');
    if (colon == std::string_view::npos || colon != inText.rfind(':')) return {};
    return endsAround(colon, 1);
}

void AddRange(std::uint32_t inFrom, std::uint32_t inTo, std::vector<std::uint32_t>& ioNumbers) {
    for (std::uint32_t number = inFrom; number != inTo; inFrom < inTo ? ++number : --number) {
        ioNumbers.push_back(number);
    }
    ioNumbers.push_back(inTo);
}

}  // namespace

std::vector<std::uint32_t> ParseFrameList(std::string_view inText, const std::string& inFile,
                                          std::uint32_t inFrameCount, const FindTime& inFindTime) {
    const NumberReader reader(inText, inFile, inFrameCount, inFindTime);
    std::vector<std::uint32_t> numbers;
    for (std::size_t start = 0; start <= inText.size();) {
        const std::size_t comma = std::min(inText.find(',', start), inText.size());
        const std::string_view item = inText.substr(start, comma - start);
        const std::size_t dash = std::min(item.find('-'), item.size());
        const std::uint32_t from = reader.Frame(item.substr(0, dash));
        AddRange(from, dash == item.size() ? from : reader.Frame(item.substr(dash + 1)), numbers);
        start = comma + 1;
    }
    return numbers;
}

FrameRange ParseFrameRange(std::string_view inText, const std::string& inFile, std::uint32_t inFrameCount,
                           const FindTime& inFindTime) {
    const NumberReader reader(inText, inFile, inFrameCount, inFindTime);
    FrameRange range{0, inFrameCount - 1};
    if (inText.empty()) return range;
    const auto ends = EndsOf(inText);
    if (!ends) reader.Refuse();
    if (!ends->first.empty()) range.first = reader.Frame(ends->first);
    if (!ends->second.empty()) range.last = reader.Frame(ends->second);
    if (range.last < range.first) {
        throw CommandError(ExitStatus::Usage, inFile,
                           fmt::format("the range '{}' ends before it begins", inText),
                           "write the earlier end first");
    }
    return range;
}

}  // namespace VexmoraCommand
