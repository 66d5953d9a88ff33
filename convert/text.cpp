#include "convert/text.h"

#include <algorithm>
#include <cstdint>
#include <cstring>
#ifdef __SSE2__
#  include <emmintrin.h>
#endif

namespace tarvik {
namespace {

#ifdef __SSE2__
/// From here on the array is written past the caches: it would not stay there until it is read, and
/// its old contents need not be fetched first.
constexpr std::size_t kPastCachesBytes = std::size_t{16} << 20;

/// Widens as many whole chunks as there are if the array is large; returns the number of bytes.
std::size_t widenPastCaches(const char* bytes, vlChar* elements, std::size_t count) {
  const bool isAligned = reinterpret_cast<std::uintptr_t>(elements) % sizeof(__m128i) == 0;
  if (count * sizeof(vlChar) < kPastCachesBytes || !isAligned) return 0;
  const std::size_t chunks = count / sizeof(__m128i);
  const auto* const source = reinterpret_cast<const __m128i*>(bytes);
  auto* const target = reinterpret_cast<__m128i*>(elements);
  for (std::size_t i = 0; i < chunks; ++i) {
    const __m128i low = _mm_loadu_si128(source + i);
    const __m128i high = _mm_cmpgt_epi8(_mm_setzero_si128(), low);
    _mm_stream_si128(target + 2 * i, _mm_unpacklo_epi8(low, high));
    _mm_stream_si128(target + 2 * i + 1, _mm_unpackhi_epi8(low, high));
  }
  _mm_sfence();
  return chunks * sizeof(__m128i);
}
#else
std::size_t widenPastCaches(const char*, vlChar*, std::size_t) {
  return 0;
}
#endif

}  // namespace

std::string unpackString(const vlArray* argument) {
  if (vlGetClassID(argument) != vlCHAR_CLASS) {
    vlErrMsgIdAndTxt("VORLAN:tarvik:unpackString:argumentNotChar",
                     "Text argument must be a character array instead of %s.",
                     vlGetClassName(argument));
  }
  const HostBytes bytes = narrow(argument);
  const std::size_t length = vlGetNumberOfElements(argument);
  if (std::memchr(bytes.get(), '\0', length) != nullptr) {
    vlErrMsgIdAndTxt("VORLAN:tarvik:unpackString:containsNul",
                     "Text argument must not contain NUL characters.");
  }
  return std::string(bytes.get(), length);
}

HostBytes narrow(const vlArray* text) {
  return HostBytes(vlArrayToString(text));
}

void widen(const char* bytes, vlArray* text) {
  auto* const elements = static_cast<vlChar*>(vlGetData(text));
  const std::size_t count = vlGetNumberOfElements(text);
  const std::size_t done = widenPastCaches(bytes, elements, count);
  std::transform(bytes + done, bytes + count, elements + done,
                 [](char byte) { return static_cast<vlChar>(static_cast<signed char>(byte)); });
}

}  // namespace tarvik
