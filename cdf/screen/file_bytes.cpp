#include "cdf/screen/file_bytes.h"

#include <algorithm>
#include <fcntl.h>
#include <sys/stat.h>
#include <unistd.h>

namespace tarvik::cdf {

// Without O_NONBLOCK a named pipe would be waited for.
FileBytes::FileBytes(const std::string& path)
    : descriptor_(::open(path.c_str(), O_RDONLY | O_CLOEXEC | O_NONBLOCK)) {
  struct stat facts = {};
  if (descriptor_ >= 0 && ::fstat(descriptor_, &facts) == 0 && S_ISREG(facts.st_mode)) {
    size_ = static_cast<std::uint64_t>(facts.st_size);
  }
}

FileBytes::~FileBytes() {
  if (descriptor_ >= 0) {
    ::close(descriptor_);
  }
}

void FileBytes::turnTo(std::uint64_t number) {
  if (pages_.size() >= mostPages) {
    pages_.clear();
  }
  std::unique_ptr<Page>& page = pages_[number];
  if (page == nullptr) {
    page = std::make_unique<Page>();
    const std::uint64_t place = number * pageSize;
    if (place < image_.size()) {
      std::copy_n(image_.begin() + static_cast<std::ptrdiff_t>(place),
                  std::min<std::uint64_t>(pageSize, image_.size() - place), page->begin());
    } else {
      // A short read leaves zeros, as does a failing one.
      [[maybe_unused]] const ssize_t count =
          ::pread(descriptor_, page->data(), pageSize, static_cast<off_t>(place));
    }
  }
  lastNumber_ = number;
  last_ = page.get();
}

std::int64_t Fields::offset() {
  return wide_ ? static_cast<std::int64_t>(unsignedOf(8))
               : static_cast<std::int32_t>(unsignedOf(4));
}

Fields& Fields::skip(std::uint64_t count) {
  place_ += count;
  return *this;
}

std::uint64_t Fields::unsignedOf(int count) {
  std::uint64_t value = 0;
  for (; count > 0; --count) {
    value = value << 8U | bytes_->at(place_++);
  }
  return value;
}

}  // namespace tarvik::cdf
