#include "tests/gateway/recording.h"

#include <algorithm>

#include "cdf/functions.h"
#include "cdf/library.h"

namespace broken {

namespace {

using namespace tarvik;  // the library's items

const std::map<long, const char*> names = {
#define CDF_ITEM(name, value) {value, #name},
#include "cdf/items.def"
#undef CDF_ITEM
};

/// What stands behind an item: a (f)ile, (n)umber, (t)ext, (m)emory, (p)arameters of a compression,
/// or a list of a number for each (d)imension.
struct Item {
  long function, item;
  const char* arguments;
};
constexpr Item items[] = {
    // clang-format off
    {SELECT_, CDF_, "f"}, {SELECT_, zVAR_DIMINDICES_, "d"}, {SELECT_, zVAR_DIMCOUNTS_, "d"},
    {SELECT_, zVAR_DIMINTERVALS_, "d"},
    {GET_, CDF_COMPRESSION_, "mmm"}, {GET_, zVAR_COMPRESSION_, "mmm"},
    {PUT_, CDF_COMPRESSION_, "np"}, {PUT_, zVAR_COMPRESSION_, "np"},
    {PUT_, zVAR_ALLOCATEBLOCK_, "nn"}, {PUT_, zVAR_NAME_, "t"}, {PUT_, ATTR_NAME_, "t"},
    {PUT_, zVAR_PADVALUE_, "m"}, {PUT_, zVAR_DATA_, "m"}, {PUT_, zVAR_HYPERDATA_, "m"},
    {OPEN_, CDF_, "tm"}, {CREATE_, ATTR_, "tnm"}, {CREATE_, zVAR_, "tnnndndm"},
    {DELETE_, zVAR_RECORDS_, "nn"},
    // clang-format on
};

const char* argumentsOf(long function, long item) {
  for (const Item& row : items) {
    if (row.function == function && row.item == item) return row.arguments;
  }
  if (function == SELECT_ || function == PUT_) return "n";
  return function == GET_ || function == CONFIRM_ ? "m" : "";
}

std::string listText(const void* first, std::size_t count) {
  const auto* numbers = static_cast<const long*>(first);
  std::string text;
  for (std::size_t i = 0; i < count; ++i) {
    text.append(i == 0 ? "" : " ").append(std::to_string(numbers[i]));
  }
  return '[' + text + ']';
}

/// The number of dimensions of the variable that the list selects or creates.
std::size_t dimensionsOf(const ItemList& list) {
  long count = 0;
  if (list[3] == CREATE_) {
    count = list[8];
  } else {
    const Recording::Within within;
    CDFlib(SELECT_, CDF_, pointer(list[2]), zVAR_, list[4], GET_, zVAR_NUMDIMS_, &count, NULL_);
  }
  return static_cast<std::size_t>(count);
}

}  // namespace

Recording* Recording::current = nullptr;
int Recording::depth = 0;

Recording::Recording(Files files, std::string refused, long status)
    : files_(std::move(files)), refused_(std::move(refused)), status_(status) {
  current = this;
}

Recording::~Recording() {
  current = nullptr;
}

std::optional<long> Recording::note(const ItemList& list) {
  if (current == nullptr || depth > 0) return {};
  return current->add("CDFlib" + current->listed(list), pointer(list[2]));
}

std::optional<long> Recording::add(const std::string& text, void* file) {
  calls_.push_back(text);
  if (text != refused_) return {};
  refused_.clear();
  refusedFile_ = file;
  return status_;
}

std::string Recording::shownAddress(const void* address) const {
  const auto file = files_.find(address);
  return file == files_.end() ? "*" : file->second;
}

std::string Recording::listed(const ItemList& list) const {
  std::string text;
  long function = NULL_;
  for (auto word = list.begin(); *word != NULL_;) {
    const long item = *word++;
    const auto name = names.find(item);
    text.append(" ").append(name == names.end() ? std::to_string(item) : name->second);
    if (item > NULL_) {
      function = item;
      continue;
    }
    for (const char* kind = argumentsOf(function, item); *kind != '\0' && *word != NULL_; ++kind) {
      const long argument = *word++;
      text += ' ';
      if (*kind == 'n') text += shown(argument);
      if (*kind == 't') text += shown(static_cast<const char*>(pointer(argument)));
      if (*kind == 'f') text += shownAddress(pointer(argument));
      if (*kind == 'm') text += '*';
      if (*kind == 'p') text += listText(pointer(argument), 1);
      if (*kind == 'd') text += listText(pointer(argument), dimensionsOf(list));
    }
  }
  return text + " NULL_";
}

}  // namespace broken
