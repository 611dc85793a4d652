// Which pictures are to be decoded for those that are wanted, and which of them can be decoded next.
#pragma once

#include <cstddef>
#include <cstdint>
#include <functional>
#include <map>
#include <optional>
#include <unordered_map>
#include <utility>
#include <vector>

#include "frames/PictureDecoder.h"

namespace VexmoraHost {

/// Keeps account of pictures, and decodes none itself.
///
/// 1. A picture that is wanted brings along those that it is predicted from, and those that these are
///    predicted from, back to pictures that are there already.
/// 2. Those whose references are decoded may be started, several at once: in the order in which they came to
///    be needed, but B pictures, for which no other one waits, some turns later. So the next anchor is under
///    way beside the B pictures before it.
/// 3. A picture is held until it is wanted no more and the last one that is predicted from it is decoded.
///    What the picture that was wanted last is predicted from stays until another one is wanted: its
///    neighbours are mostly predicted from the same.
///
/// Not for several threads at once. Pictures are named by their records.
class DecodePlan {
  public:
    /// What is known of a picture that the plan does not hold.
    struct Known {
        /// Null when it must be decoded; the rest matters only then.
        SharedPicture picture = {};
        References references = {};
        CodingPlace place = {};
    };
    using LookUp = std::function<Known(std::int32_t inRecord)>;

    /// @param inLookUp called within Want. Every reference that it names is coded before the picture.
    explicit DecodePlan(LookUp inLookUp) : mLookUp(std::move(inLookUp)) {}

    /// May be wanted several times.
    void Want(std::int32_t inRecord);
    /// Takes one Want back. The picture has been decoded.
    void Release(std::int32_t inRecord);
    /// A picture that is wanted; null while it is not decoded.
    SharedPicture Find(std::int32_t inRecord) const { return mPictures.at(inRecord).picture; }

    bool CanStart() const { return !mReady.empty(); }
    /// The next picture to decode; none while all wait for others, or nothing is left to do.
    std::optional<PictureTask> Start();
    /// Takes the picture of a task that was started.
    void Finish(std::int32_t inRecord, const SharedPicture& inPicture);

    /// Pictures that are held, decoded or not.
    std::size_t Pictures() const { return mPictures.size(); }

  private:
    struct Entry {
        SharedPicture picture = {};
        References references = {};
        CodingPlace place = {};
        // When it is to be started: the Want that needed it first, and the turns that it lets pass.
        std::uint64_t turn = 0;
        // Wants, pictures yet to be decoded that are predicted from this one, and place in mStaying.
        std::uint32_t users = 0;
        // References that are not decoded.
        std::uint32_t missing = 0;
        // Pictures that wait for this one, one predicted twice from it twice.
        std::vector<std::int32_t> waiting = {};
    };

    void AddWithReferences(std::int32_t inRecord);
    void Enlist(std::int32_t inRecord);
    void LetGo(std::int32_t inRecord);

    const LookUp mLookUp;
    std::unordered_map<std::int32_t, Entry> mPictures;
    std::uint64_t mWants = 0;
    std::map<std::pair<std::uint64_t, CodingPlace>, std::int32_t> mReady;
    std::vector<std::int32_t> mStaying;
};

}  // namespace VexmoraHost
