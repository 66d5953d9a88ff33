// Names, paths, texts, handles and whole files.
#include <cstring>
#include <filesystem>
#include <fstream>
#include <malloc.h>
#include <sys/stat.h>
#include <unistd.h>

#include "faults/library/harness.h"

namespace tarvik::faults {

namespace {

/// A path of so many characters in a folder that exists.
std::string longPath(std::size_t length) {
  const std::string folder = std::string(200, 'd') + '/' + std::string(200, 'd') + '/';
  std::filesystem::create_directories(folder);
  return folder + std::string(length - folder.size(), 'f');
}

/// Overwrites the stack that the next call will use.
void fillStack() {
  volatile char stack[65536];
  for (volatile char& byte : stack) {
    byte = 'j';
  }
}

/// Whether a new file gets the handle that a failed request has left.
Seen handleAgain(CDFid before) {
  return File("g").id == before ? Seen::otherObject : Seen::nothing;
}

Seen textWithoutNul(long datatype) {
  File file;
  const Guarded text(16);
  std::memset(text.data(), 'a', 16);
  CDFputAttrEntry(file.id, globalEntries, file.attribute("a"), 0, datatype, 16, text.data());
  return file.fate();
}

/// Writes 50 records, with a checksum.
CDFstatus writeWithChecksum() {
  File file;
  file.on(PUT_, CDF_CHECKSUM_, MD5_CHECKSUM);
  const long x = file.variable(CDF_INT4, {3});
  std::array<int, 1> value{7};
  for (long record = 0; record < 50; ++record) {
    file.value(x, PUT_, record, value.data());
  }
  return file.close();
}

}  // namespace

const std::vector<Fault> nameFaults{
    {"long-name-made", "create a variable with a name of 257 characters",
     [] {
       File file;
       long variables = 0;
       const long status = file.variable(CDF_INT4, {}, VARY, VARY, std::string(257, 'n'));
       file.on(GET_, CDF_NUMzVARS_, &variables);
       return status < 0 && variables == 1 ? Seen::otherObject : Seen::nothing;
     }},
    {"name-of-256-not-found", "look for an attribute with a name of 256 characters",
     [] {
       File file;
       const std::string name(256, 'n');
       const long made = file.attribute(name);
       fillStack();
       return made >= 0 && CDFgetAttrNum(file.id, name.c_str()) != made ? Seen::wrongValues
                                                                        : Seen::nothing;
     }},
    {"long-path-cut", "create a file whose path has no room for the extension",
     [] {
       const std::string path = longPath(510);
       const File file(path.c_str());
       return std::filesystem::exists(path + ".cdf") ? Seen::nothing : Seen::otherObject;
     }},
    {"long-path-opens-another", "open a path of 513 characters",
     [] {
       const std::string path = longPath(508) + ".cdf";
       File file(path.c_str());
       file.close();
       file.path = path + "x";
       return file.reopen() >= 0 ? Seen::otherObject : Seen::nothing;
     }},
    {"two-spellings", "open x.CDF where x.cdf lies beside it",
     [] {
       File upper("f");
       upper.variable(CDF_INT4);
       upper.close();
       std::filesystem::rename("f.cdf", "f.CDF");
       File("f.cdf").close();
       upper.path = "f.CDF";
       long variables = 1;
       upper.reopen();
       upper.on(GET_, CDF_NUMzVARS_, &variables);
       return variables == 1 ? Seen::nothing : Seen::otherObject;
     }},
    {"pipe-created", "create a file where a named pipe lies",
     [] {
       mkfifo("f.cdf", 0600);
       File file;
       return file.fate();
     }},
    {"pipe-beside-multi-file", "create a variable of a multi-file CDF where a named pipe lies",
     [] {
       File file;
       file.on(PUT_, CDF_FORMAT_, MULTI_FILE);
       mkfifo("f.z0", 0600);
       int value = 0;
       file.value(file.variable(CDF_INT4), PUT_, 0, &value);
       return file.fate();
     }},
    {"opened-twice", "write to the same file through two handles",
     [] {
       File first;
       const long x = first.variable(CDF_INT4);
       std::array<int, 3> values{0, 10, 20};
       first.value(x, PUT_, 0, &values[0]);
       first.close();
       File second = first;
       first.reopen();
       second.reopen();
       first.value(x, PUT_, 1, &values[1]);
       second.value(x, PUT_, 2, &values[2]);
       first.close();
       const Seen fate = second.fate();
       second.value(x, GET_, 1, &values[1]);
       return values[1] == 10 ? fate : Seen::wrongValues;
     }},
    {"failed-close-frees", "close a file with checksum kind 2, which fails",
     [] {
       File file;
       file.on(PUT_, CDF_CHECKSUM_, 2L);
       return file.close() < 0 ? handleAgain(file.id) : Seen::nothing;
     }},
    {"failed-delete-frees", "delete a new file that is gone from the disk, which fails",
     [] {
       File file;
       std::filesystem::remove(file.path);
       return file.on(DELETE_, CDF_) < 0 ? handleAgain(file.id) : Seen::nothing;
     }},
    {"forged-handle", "use a handle that the library did not give",
     [] {
       long variables = 0;
       void* const forged = reinterpret_cast<void*>(0x1230);  // NOLINT(performance-no-int-to-ptr)
       cdf::onFile(forged, GET_, CDF_NUMzVARS_, &variables);
       return Seen::nothing;
     }},
    {"status-text-overrun", "ask for the text of status -2234 with the room that is promised",
     [] {
       constexpr std::size_t promised = 120;
       const Guarded text(promised + 1);
       cdf::call(SELECT_, CDF_STATUS_, -2234L, GET_, STATUS_TEXT_, text.data());
       return Seen::nothing;
     }},
    {"entry-text-without-nul", "write a CDF_CHAR entry that no NUL follows",
     [] { return textWithoutNul(CDF_CHAR); }},
    {"entry-utext-without-nul", "write a CDF_UCHAR entry that no NUL follows",
     [] { return textWithoutNul(CDF_UCHAR); }},
    {"text-behind-a-nul", "write a text value with characters behind a NUL",
     [] {
       File file;
       std::array<char, 5> text{"a\0bc"};
       long number = -1;
       file.on(CREATE_, zVAR_, "x", CDF_CHAR, 4L, 0L, &number, VARY, &number, &number);
       file.value(number, PUT_, 0, text.data());
       file.value(number, GET_, 0, text.data());
       return text[2] == 'b' ? Seen::nothing : Seen::wrongValues;
     }},
    {"read-only-double-free", "select an attribute, read-only mode, read an unwritten record",
     [] {
       File file;
       file.attribute("a");
       const long x = file.variable(CDF_INT4);
       file.close();
       file.reopen();
       long scope = 0;
       int value = 0;
       cdf::onAttribute(file.id, 0, GET_, ATTR_SCOPE_, &scope);
       file.on(CDF_READONLY_MODE_, -1L);
       file.value(x, GET_, 8, &value);
       return file.fate();
     }},
    {"open-without-memory", "open a file compressed as a whole with 1 MiB of memory left",
     [] {
       File file;
       CompressionParameters level{6};
       file.on(PUT_, CDF_COMPRESSION_, GZIP_COMPRESSION, level.data());
       file.variable(CDF_INT4);
       file.close();
       std::size_t pages = 0;
       std::ifstream("/proc/self/statm") >> pages;
       malloc_trim(0);
       limitMemory(pages * static_cast<std::size_t>(getpagesize()) + (std::size_t{1} << 20));
       file.reopen();
       return Seen::nothing;
     }},
    {"full-disk-checksum", "a disk that lacks 8 bytes for the checksum",
     [] {
       writeWithChecksum();
       const std::size_t needed = std::filesystem::file_size("f.cdf");
       std::filesystem::remove("f.cdf");
       limitFiles(needed - 8);
       File file("g");  // For reopening only.
       file.path = "f.cdf";
       return writeWithChecksum() >= 0 && file.reopen() < 0 ? Seen::lostFile : Seen::nothing;
     }},
    {"full-disk-whole-file", "append to a file compressed as a whole on a full disk",
     [] {
       File file;
       CompressionParameters none{};
       std::array<int, 1000> values{1};
       file.on(PUT_, CDF_COMPRESSION_, RLE_COMPRESSION, none.data());
       const long x = file.variable(CDF_INT4, {1000});
       CDFputVarRecordData(file.id, zVariable, x, 0, values.data());
       file.close();
       limitFiles(std::filesystem::file_size(file.path));
       file.reopen();
       values.fill(0x12345678);
       CDFputVarRecordData(file.id, zVariable, x, 1, values.data());
       return file.fate();
     }},
};

}  // namespace tarvik::faults
