// Passes the library's questions about index files to the session in force, and its answers back as plain
// text.
#include "index/IndexLocation.h"

#include <algorithm>
#include <optional>
#include <string>
#include <string_view>

#include "index/IndexSession.h"
#include "system/PathText.h"

namespace VexmoraHost {
namespace {

constexpr std::int32_t kDone = 0;
constexpr std::int32_t kFailed = -1;
constexpr std::u16string_view kExtension = u"mpgindex";

// The host's own identity text is the Guid's with the version of this spelling before it: a library that
// mixes up two files' texts is found out.
constexpr std::string_view kIdentityPrefix = "1-";
static_assert(kIdentityPrefix.size() + Guid::kTextLength < Vexmora::kIdentityTextCapacity);
static_assert(Guid::kTextLength < Vexmora::kGuidTextCapacity);

// Lets no exception through the table; the session keeps it for Movie to tell why.
template <typename Work>
std::int32_t Answer(Work inWork) noexcept {
    IndexSession* const session = IndexSession::Current();
    if (session == nullptr) return kFailed;
    try {
        return inWork(*session);
    } catch (...) {
        session->NoteFailure();
        return kFailed;
    }
}

std::int32_t WritePath(const std::filesystem::path& inPath, std::uint32_t inCapacity, char16_t* outText) {
    const UTF16String text = ToInterfacePath(inPath);
    if (text.size() >= inCapacity) return kFailed;
    *std::copy(text.begin(), text.end(), outText) = 0;
    return kDone;
}

// The identity that both texts agree on, for the one kind of file that this host keeps.
std::optional<Guid> ReadIdentity(const char* inIdentityText, const char* inGuidText,
                                 const char16_t* inExtension) {
    if (inIdentityText == nullptr || inGuidText == nullptr || inExtension == nullptr) return std::nullopt;
    const std::string_view identityText(inIdentityText);
    if (inExtension != kExtension || !identityText.starts_with(kIdentityPrefix) ||
        identityText.substr(kIdentityPrefix.size()) != inGuidText) {
        return std::nullopt;
    }
    return Guid::FromText(inGuidText);
}

std::int32_t GetIndexFolder(const char16_t* inMediaPath, std::uint32_t inCapacity, char16_t* outFolder) {
    return Answer([&](IndexSession& ioSession) {
        if (inMediaPath == nullptr || outFolder == nullptr) return kFailed;
        const auto folder = ioSession.WritingFolder();
        return folder ? WritePath(*folder, inCapacity, outFolder) : kFailed;
    });
}

std::int32_t GetMediaIdentity(const char16_t* inMediaPath, std::uint32_t, char* outIdentityText,
                              char* outGuidText) {
    return Answer([&](IndexSession& ioSession) {
        if (inMediaPath == nullptr || outIdentityText == nullptr || outGuidText == nullptr) return kFailed;
        const std::string text = ioSession.ConfirmIdentity(FromInterfacePath(inMediaPath)).ToText();
        outIdentityText = std::copy(kIdentityPrefix.begin(), kIdentityPrefix.end(), outIdentityText);
        *std::copy(text.begin(), text.end(), outIdentityText) = 0;
        *std::copy(text.begin(), text.end(), outGuidText) = 0;
        return kDone;
    });
}

std::int32_t RegisterIndexFile(const char* inIdentityText, const char* inGuidText,
                               const char16_t* inIndexPath, const char16_t* inExtension, const char16_t*) {
    return Answer([&](IndexSession& ioSession) {
        const auto identity = ReadIdentity(inIdentityText, inGuidText, inExtension);
        if (!identity || inIndexPath == nullptr) return kFailed;
        ioSession.Register(*identity, FromInterfacePath(inIndexPath));
        return kDone;
    });
}

std::int32_t FindIndexFile(std::uint32_t inCapacity, char16_t* outIndexPath, const char* inIdentityText,
                           const char* inGuidText, const char16_t* inExtension) {
    return Answer([&](IndexSession& ioSession) {
        const auto identity = ReadIdentity(inIdentityText, inGuidText, inExtension);
        if (!identity || outIndexPath == nullptr) return kFailed;
        const auto path = ioSession.Find(*identity);
        return path ? WritePath(*path, inCapacity, outIndexPath) : kFailed;
    });
}

}  // namespace

const Vexmora::IndexLocationTable kIndexLocation = {GetIndexFolder, GetMediaIdentity, RegisterIndexFile,
                                                    FindIndexFile};

}  // namespace VexmoraHost
