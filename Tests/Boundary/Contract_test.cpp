// A broken promise inside the library is reported with the text, place and code of its check, and work goes
// on.
#include <gtest/gtest.h>

#include <array>
#include <string>
#include <vector>

#include "Contract/Contract.h"
#include "Indexer/Indexer.h"
#include "Pavlin/Contract.h"

namespace Vexmora {
namespace {

class RecordingSink final : public Pavlin::config::ErrorSink {
  public:
    RecordingSink() : mBefore(Pavlin::config::SetErrorSink(this)) {}
    ~RecordingSink() override { Pavlin::config::SetErrorSink(mBefore); }

    bool OnContractViolation(const char* inExpression, const char* inSourcePath, int inLine) override {
        violations.push_back(std::string(inExpression) + " | " + inSourcePath + ":" + std::to_string(inLine));
        return false;
    }
    void OnError(int inLevel, const char* inMessageKey, int inNumber, int inCode) override {
        errors.push_back(std::to_string(inLevel) + " " + std::to_string(inNumber) + " " +
                         std::to_string(inCode) + " " + inMessageKey);
    }

    std::vector<std::string> violations;
    std::vector<std::string> errors;

  private:
    Pavlin::config::ErrorSink* mBefore;
};

TEST(Contract, ReportsAPointerThatIsAtNoStartCodeAndGoesOn) {
    RecordingSink sink;
    PureVideoIndexer indexer;
    std::array<std::uint8_t, 33> bytes{};
    EXPECT_EQ(indexer.HandleStartCode(bytes.data(), 0), 5u) << "taken for the picture that byte 3 says it is";
    ASSERT_EQ(sink.violations.size(), 1u);
    EXPECT_EQ(sink.violations[0],
              "inBuffer[0] == 0 && inBuffer[1] == 0 && inBuffer[2] == 1 | ..\\..\\Src\\Indexer:1649");
    ASSERT_EQ(sink.errors.size(), 1u);
    EXPECT_EQ(
        sink.errors[0],
        "0 105 25 $$$/Pavlin/utility/Error/Contract/InputContractViolation=An input contract violation has "
        "occurred!");

    bytes[2] = 1;
    static_cast<void>(indexer.HandleStartCode(bytes.data(), 0));
    EXPECT_EQ(sink.violations.size(), 1u);
}

}  // namespace
}  // namespace Vexmora
