// Every operation makes the calls of the library that samples.txt prescribes for it and no others,
// on files just made and on files opened again; a negative status of any of them ends it.
#include "cdf/functions.h"
#include "cdf/library.h"
#include "tests/gateway/recording.h"
#include "tests/gateway/samples.h"

namespace {

using broken::Recording;
using namespace tarvik;  // the library's items

#ifdef TARVIK_EXTENDED
constexpr bool extended = true;
#else
constexpr bool extended = false;
#endif

class CallsTest : public SamplesTest {
 protected:
  void SetUp() override {
    SamplesTest::SetUp();
    for (std::size_t i = 3; i < all_.size() - (extended ? 1 : 0); ++i) {
      const std::vector<Row> more = rowsOf(all_.at(i));
      rows_.insert(rows_.end(), more.begin(), more.end());
    }
  }
  void TearDown() override {
    closeKept();
    SamplesTest::TearDown();
  }

  void makeFiles() {
    closeKept();
    for (const auto& entry : std::filesystem::directory_iterator(path(""))) {
      std::filesystem::remove(entry);
    }
    for (const std::size_t files : {0U, 2U}) perform(all_.at(files));
  }
  void openAgain() {
    const std::map<std::string, Input> made = kept();
    for (const auto& [name, file] : made) {
      const Array path = std::move(call("getName", file).at(0));
      call("close", file);
      keep(name, std::move(call("open", path.get()).at(0)));
    }
  }

  Recording::Files files() const {
    Recording::Files files;
    for (const auto& [name, file] : kept()) {
      files[handleOf({*static_cast<const std::uint64_t*>(vlGetData(file.array))})] = name;
    }
    return files;
  }

  void expectCalls(const Row& row) {
    const Recording recording(files());
    const std::vector<Array> outputs = callWith(row.operation, inputsFrom(row.inputs));
    EXPECT_EQ(recording.calls(), prescribed(row, row.calls.size(), recording.calls()));
    if (opensAFile({row.operation, {}})) call("close", outputs.at(0).get());
  }

  /// The first calls of a row. Those of the extended plug-in belong to them where they were made.
  static std::vector<std::string> prescribed(const Row& row, std::size_t count,
                                             const std::vector<std::string>& made) {
    std::vector<std::string> calls;
    for (std::size_t i = 0; i < count; ++i) {
      const LibraryCall& next = row.calls.at(i);
      const bool isMade = calls.size() < made.size() && made[calls.size()] == next.text;
      if (!next.extended || (extended && isMade)) calls.push_back(next.text);
    }
    return calls;
  }

  void expectEnd(const Row& row, std::size_t place, long status) {
    const LibraryCall& refused = row.calls.at(place);
    const Raised failure = failureOf(row.operation, status, refused.tag);
    const Recording recording(files(), refused.text, status);
    const Raised raised = raisedWith(row.operation, inputsFrom(row.inputs));
    std::vector<std::string> calls = prescribed(row, place + 1, recording.calls());
    calls.push_back("CDFlib SELECT_ CDF_STATUS_ " + std::to_string(status) +
                    " GET_ STATUS_TEXT_ * NULL_");
    EXPECT_EQ(recording.calls(), calls);
    EXPECT_EQ(raised.identifier, failure.identifier);
    const std::string text = failure.message.substr(failure.message.find(','));
    EXPECT_NE(raised.message.find(text), std::string::npos) << raised;
    if (refused.tag == "unableToSetzMode2") closeInLibrary(recording.refusedFile());
    if (row.operation == "close" || row.operation == "delete") {
      // The gateway marks the handle as dangling; only unloading removes it.
      EXPECT_EQ(gateway().unload().size(), 1U);
      closeInLibrary(recording.refusedFile());
      reload();
      makeFiles();
    }
  }
  static void closeInLibrary(void* file) {
    EXPECT_EQ(CDFlib(SELECT_, CDF_, file, CLOSE_, CDF_, NULL_), 0);
  }

  const std::vector<Script> all_ = sections();
};

TEST_F(CallsTest, AreThoseThatArePrescribed) {
  for (const bool opened : {false, true}) {
    bool changed = true;
    for (const Row& row : rows_) {
      SCOPED_TRACE(row.operation + row.inputs);
      if (changed) makeFiles();
      if (changed && opened) openAgain();
      expectCalls(row);
      changed = row.operation.rfind("get", 0) != 0 && row.operation.rfind("inquire", 0) != 0;
    }
  }
}

TEST_F(CallsTest, EndWithTheFirstNegativeStatus) {
  EXPECT_GT(failureOf("", -2234).message.size(), 150U);  // Longer than any that is promised.
  makeFiles();
  for (const Row& row : rows_) {
    SCOPED_TRACE(row.operation + row.inputs);
    for (std::size_t i = 0; i < row.calls.size(); ++i) {
      if (row.calls[i].tag.empty() || row.calls[i].extended) continue;
      for (const long status : {-1L, -1999L, -2035L, -2234L}) expectEnd(row, i, status);
    }
  }
}

}  // namespace
