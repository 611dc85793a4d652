// What the library hears when it asks where index files belong.
#include <gtest/gtest.h>

#include <array>
#include <thread>

#include "Host/HostTestSupport.h"
#include "VexmoraHost/Error.h"
#include "index/IndexSession.h"
#include "memory/HostServices.h"
#include "system/PathText.h"

namespace VexmoraHost {
namespace {

namespace fs = std::filesystem;
using Purpose = IndexSession::Purpose;

// The library's side of the conversation: its buffers and the order in which it asks.
struct Library {
    const Vexmora::IndexLocationTable& table = *Services().indexLocation;
    std::array<char, Vexmora::kIdentityTextCapacity> identity{};
    std::array<char, Vexmora::kGuidTextCapacity> guid{};
    std::array<char16_t, Vexmora::kIndexPathCapacity> path{};

    std::int32_t Identify(const fs::path& inMedia) {
        return table.GetMediaIdentity(ToInterfacePath(inMedia).c_str(), 0, identity.data(), guid.data());
    }
    std::int32_t Folder(const fs::path& inMedia) {
        return table.GetIndexFolder(ToInterfacePath(inMedia).c_str(), Vexmora::kIndexPathCapacity,
                                    path.data());
    }
    std::int32_t Find(std::uint32_t inCapacity = Vexmora::kIndexPathCapacity) {
        return table.FindIndexFile(inCapacity, path.data(), identity.data(), guid.data(), u"mpgindex");
    }
    std::int32_t Write(const fs::path& inMedia, const char16_t* inExtension = u"mpgindex") {
        if (Folder(inMedia) < 0) return -7;
        const fs::path written =
            FromInterfacePath(path.data()) / (inMedia.filename().native() + " (2).mpgindex");
        if (Identify(inMedia) < 0) return -5;
        WriteFile(written, MakeIndexFile(*Guid::FromText(guid.data()), 3));
        return table.RegisterIndexFile(identity.data(), guid.data(), ToInterfacePath(written).c_str(),
                                       inExtension, ToInterfacePath(inMedia).c_str());
    }
};

class IndexLocation : public testing::Test {
  protected:
    TemporaryFolder mFolder;
    fs::path mMedia = WriteFile(mFolder /
                                    "m\xE4"
                                    "dia.ts",
                                "G some packets");
    IndexStore mStore{mFolder / "store"};
};

TEST_F(IndexLocation, AnIndexThatWasWrittenIsFoundByTheNextSession) {
    Library library;
    {
        IndexSession session(mStore, mMedia);
        const IndexSession::InForce find(session, Purpose::Find);
        EXPECT_EQ(library.Identify(mMedia), 0);
        EXPECT_EQ(*Guid::FromText(library.guid.data()), session.Identity());
        EXPECT_LT(library.Find(), 0);
        EXPECT_LT(library.Folder(mMedia), 0) << "nothing is to be written";
        EXPECT_EQ(fs::is_empty(mStore.Folder() / "writing"), true);
        {
            const IndexSession::InForce write(session, Purpose::Write);
            EXPECT_EQ(library.Write(mMedia), 0);
        }
        EXPECT_NO_THROW(session.RethrowFailure());
        EXPECT_EQ(session.Known()->index.records.size(), 3u);
    }
    EXPECT_TRUE(fs::is_empty(mStore.Folder() / "writing"));

    IndexSession later(mStore, mMedia);
    const IndexSession::InForce find(later, Purpose::Find);
    EXPECT_EQ(library.Identify(mMedia), 0);
    ASSERT_EQ(library.Find(), 0);
    EXPECT_EQ(FromInterfacePath(library.path.data()),
              mStore.Folder() / (later.Identity().ToText() + ".mpgindex"));
    {
        const IndexSession::InForce ignore(later, Purpose::Ignore);
        EXPECT_LT(library.Find(), 0);
        EXPECT_LT(library.Folder(mMedia), 0);
    }
    const auto length = static_cast<std::uint32_t>(ToInterfacePath(later.Known()->path).size());
    library.path.fill(u'#');
    EXPECT_LT(library.Find(length), 0) << "no room for the terminating NUL";
    EXPECT_EQ(library.path[0], u'#');
    EXPECT_EQ(library.Find(length + 1), 0);
    EXPECT_EQ(library.path[length + 1], u'#');
}

TEST_F(IndexLocation, EveryThreadHasItsOwnSession) {
    const IndexStore otherStore(mFolder / "other");
    IndexSession session(mStore, mMedia);
    const IndexSession::InForce inForce(session, Purpose::Write);
    std::thread([&] {
        Library library;
        EXPECT_LT(library.Identify(mMedia), 0) << "no session";
        EXPECT_LT(library.Write(mMedia), 0);
        IndexSession other(otherStore, mMedia);
        const IndexSession::InForce otherInForce(other, Purpose::Write);
        EXPECT_EQ(library.Write(mMedia), 0);
    }).join();
    EXPECT_TRUE(otherStore.Find(session.Identity()));
    EXPECT_FALSE(mStore.Find(session.Identity()));
    EXPECT_EQ(IndexSession::Current(), &session);
}

TEST_F(IndexLocation, AFileThatChangesMeanwhileGetsNoIndex) {
    Library library;
    {
        IndexSession session(mStore, mMedia);
        const IndexSession::InForce write(session, Purpose::Write);
        ASSERT_EQ(library.Folder(mMedia), 0);
        WriteFile(mMedia, "G some more packets");
        EXPECT_EQ(library.Write(mMedia), -5);
        EXPECT_THROW(session.RethrowFailure(), Error);
    }
    EXPECT_FALSE(mStore.Find(IdentifyMedia(mMedia)));
    EXPECT_TRUE(fs::is_empty(mStore.Folder() / "writing")) << "what was begun is gone";
}

TEST_F(IndexLocation, WrongQuestionsAreAnsweredWithFailure) {
    Library library;
    IndexSession session(mStore, mMedia);
    const IndexSession::InForce write(session, Purpose::Write);
    EXPECT_LT(library.Identify(mFolder / "another.ts"), 0);
    EXPECT_LT(library.Write(mMedia, u"other"), 0);
    EXPECT_LT(library.table.GetMediaIdentity(nullptr, 0, library.identity.data(), library.guid.data()), 0);
    EXPECT_LT(library.table.GetIndexFolder(ToInterfacePath(mMedia).c_str(), 3, library.path.data()), 0);
    EXPECT_LT(library.table.RegisterIndexFile(nullptr, nullptr, nullptr, nullptr, nullptr), 0);
    ASSERT_EQ(library.Identify(mMedia), 0);
    library.guid[0] = library.guid[0] == '0' ? '1' : '0';
    const IndexSession::InForce find(session, Purpose::Find);
    EXPECT_LT(library.Find(), 0) << "the two texts disagree";
    EXPECT_FALSE(mStore.Find(session.Identity()));
}

}  // namespace
}  // namespace VexmoraHost
