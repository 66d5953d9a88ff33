// Guards that scripts cannot try: entries of more elements than memory holds, short memory, and
// long paths.
#include <fstream>
#include <functional>
#include <malloc.h>
#include <sys/resource.h>
#include <sys/stat.h>
#include <unistd.h>

#include "tests/gateway/gateway_test.h"

namespace fs = std::filesystem;

namespace {

using GuardsTest = GatewayTest;

constexpr long CDF_NAME_TRUNC = -1002, BAD_NUM_ELEMS = -2011, BAD_MALLOC = -2026,
               CDF_OPEN_ERROR = -2012, CDF_CREATE_ERROR = -2013;

TEST_F(GuardsTest, EntriesOfMoreElementsThanTheLibraryCounts) {
  const File file = create("a");
  // Borrowed: nobody reads the elements of an array that is refused for their number.
  const double none = 0;
  const struct {
    double datatype;
    vlClassID classId;
    std::size_t count;
  } rows[] = {{41, vlINT8_CLASS, std::size_t{1} << 31},
              {41, vlINT8_CLASS, (std::size_t{1} << 32) + 1},
              {4, vlINT32_CLASS, std::size_t{1} << 29},
              {45, vlDOUBLE_CLASS, (std::size_t{1} << 28) - 7}};
  for (const double scope : {1.0, 2.0}) {
    const double attribute = numberOf(call("createAttr", file, std::to_string(scope), scope).at(0));
    for (const auto& row : rows) {
      const Array values = vlhost::borrow({1, row.count}, row.classId, &none);
      EXPECT_EQ(raised("putAttrEntry", file, attribute, 0.0, row.datatype, values.get()),
                failureOf("putAttrEntry", BAD_NUM_ELEMS));
    }
  }
  close(file);
}

TEST_F(GuardsTest, ValuesThatTheLibraryCannotAllocate) {
  if (underSanitizer) GTEST_SKIP() << "a sanitizer ends the program instead";
  const File file = create("a");
  rlimit before{};
  getrlimit(RLIMIT_DATA, &before);
  const rlimit short_{2UL << 30, before.rlim_max};
  setrlimit(RLIMIT_DATA, &short_);
  const Raised refusal = raised("createVar", file, "x", 51.0, 2e9, List{}, -1.0, List{});
  setrlimit(RLIMIT_DATA, &before);
  EXPECT_EQ(refusal, failureOf("createVar", BAD_MALLOC));
  close(file);
}

TEST_F(GuardsTest, OpeningWithoutMemory) {
  if (underSanitizer) GTEST_SKIP() << "a sanitizer needs address space of its own";
  const File made = create("a");
  call("setCompression", made, 5.0, 6.0);
  createVar(made, "x", 4);
  close(made);
  malloc_trim(0);
  std::size_t pages = 0;
  std::ifstream("/proc/self/statm") >> pages;
  const std::size_t used = pages * static_cast<std::size_t>(getpagesize());
  rlimit before{};
  getrlimit(RLIMIT_AS, &before);
  for (const std::size_t left : {1U << 10, 1U << 18, 1U << 20, 1U << 21, 3U << 20}) {
    const rlimit short_{used + left, before.rlim_max};
    setrlimit(RLIMIT_AS, &short_);
    const Raised refusal = raised("open", path("a"));
    setrlimit(RLIMIT_AS, &before);
    EXPECT_EQ(refusal, failureOf("open", BAD_MALLOC)) << left;
  }
  close(open("a"));
}

class PathsTest : public GatewayTest {
 protected:
  /// A path of exactly that length in a folder of long names.
  std::string longPath(std::size_t length, const std::string& extension) {
    const fs::path folder = path(std::string(200, 'd')) / fs::path(std::string(200, 'e'));
    fs::create_directories(folder);
    std::string name = folder.string() + "/";
    name.resize(length - extension.size(), 'n');
    return name + extension;
  }

  bool anyFile() const {
    const fs::recursive_directory_iterator all(path(""));
    return std::any_of(begin(all), end(all), [](auto& entry) { return entry.is_regular_file(); });
  }
};

TEST_F(PathsTest, AreRefusedWhereTheLibraryWouldCutThem) {
  const struct {
    std::size_t length;
    const char* extension;
    bool fits;
  } rows[] = {{508, "", true},      {509, "", false},    {512, "", false},     {512, ".cdf", true},
              {513, ".cdf", false}, {512, ".CDF", true}, {513, ".CDF", false}, {600, "", false}};
  for (const auto& row : rows) {
    SCOPED_TRACE(std::to_string(row.length) + row.extension);
    const std::string name = longPath(row.length, row.extension);
    if (row.fits) {
      call("close", call("create", name).at(0).get());
      call("delete", call("open", name).at(0).get());
    } else {
      EXPECT_EQ(raised("create", name), failureOf("create", CDF_NAME_TRUNC));
      EXPECT_EQ(raised("open", name), failureOf("open", CDF_NAME_TRUNC));
    }
    EXPECT_FALSE(anyFile());
  }
  // No other file is opened than the one named.
  const std::string name = longPath(512, ".cdf");
  call("close", call("create", name).at(0).get());
  EXPECT_EQ(raised("open", name + "f"), failureOf("open", CDF_NAME_TRUNC));
  // A file may have no extension.
  const std::string bare = longPath(511, "");
  fs::rename(name, bare);
  call("close", call("open", bare).at(0).get());
}

// A pipe crashed the library, and /dev/null took all that was written.
TEST_F(PathsTest, AreRefusedWhereNoFileCanBe) {
  const std::string name = path("x.cdf");
  const std::function<void(const std::string&)> kinds[] = {
      [](auto& place) { ASSERT_EQ(mkfifo(place.c_str(), 0600), 0); },
      [](auto& place) { ASSERT_EQ(mknod(place.c_str(), S_IFSOCK | 0600, 0), 0); },
      [](auto& place) { fs::create_directory(place); },
      [](auto& place) { fs::create_symlink("/dev/null", place); },
  };
  for (const auto& make : kinds) {
    for (const bool linked : {false, true}) {
      make(linked ? path("kept") : name);
      if (linked) fs::create_symlink("kept", name);
      for (const std::string& spelling : {path("x"), name, path("x.Cdf"), path("x ")}) {
        EXPECT_EQ(raised("create", spelling), failureOf("create", CDF_CREATE_ERROR)) << spelling;
        EXPECT_NE(raised("open", spelling).message.find("NO_SUCH_CDF"), std::string::npos);
      }
      EXPECT_FALSE(anyFile());
      for (const auto& entry : fs::directory_iterator(path(""))) fs::remove(entry);
    }
  }
  // A link to nothing yet becomes a file.
  fs::create_symlink("kept.cdf", name);
  call("delete", call("create", name).at(0).get());
}

// Of two files whose names differ in the spelling of the extension alone, the library opens one.
TEST_F(PathsTest, AreRefusedWhereTheLibraryWouldOpenAnotherFile) {
  const std::string lower = path("x.cdf"), upper = path("x.CDF");
  call("close", call("create", lower).at(0).get());
  call("close", call("open", upper).at(0).get());  // Not there: the library's way to find x.cdf.
  for (const std::string& other : {upper, path("x.Cdf"), path("x.cdf ")}) {
    fs::copy_file(lower, other);
    EXPECT_EQ(raised("open", other), failureOf("open", CDF_OPEN_ERROR)) << other;
    fs::remove(other);
  }
  fs::copy_file(lower, upper);
  call("close", call("open", lower).at(0).get());
  call("close", call("open", path("x")).at(0).get());
  fs::remove(lower);
  call("close", call("open", upper).at(0).get());
}

}  // namespace
