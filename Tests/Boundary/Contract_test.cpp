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
        reports.push_back(std::string(inExpression) + " | " + inSourcePath + ":" + std::to_string(inLine));
        return false;
    }
    void OnError(int inLevel, const char* inMessageKey, int inNumber, int inCode) override {
        reports.push_back(std::to_string(inLevel) + " " + std::to_string(inNumber) + " " +
                          std::to_string(inCode) + " " + inMessageKey);
    }

    std::vector<std::string> reports;

  private:
    Pavlin::config::ErrorSink* mBefore;
};

TEST(Contract, ReportsAPointerThatIsAtNoStartCodeAndGoesOn) {
    RecordingSink sink;
    PureVideoIndexer indexer;
    std::array<std::uint8_t, 33> bytes{};
    EXPECT_EQ(indexer.HandleStartCode(bytes.data(), 0), 5u) << "taken for the picture that byte 3 says it is";
    bytes[2] = 1;
    static_cast<void>(indexer.HandleStartCode(bytes.data(), 0));
    const std::vector<std::string> expected{
        "inBuffer[0] == 0 && inBuffer[1] == 0 && inBuffer[2] == 1 | ..\\..\\Src\\Indexer:1649",
        "0 105 25 $$$/Pavlin/utility/Error/Contract/InputContractViolation=An input contract violation has "
        "occurred!"};
    EXPECT_EQ(sink.reports, expected);
}

}  // namespace
}  // namespace Vexmora
