/// Inflates a short stream that the first input holds from its first byte to its last.
#pragma once

#include "cdf/zlib/stream.h"

namespace tarvik::zlib {

class Whole {
 public:
  /// Decodes the stream; false, and nothing taken, if the input is anything else.
  bool take(z_stream& stream);
  /// Hands out what was decoded; true if nothing is left.
  bool drain(z_stream& stream) { return passOn(stream, decoded_); }
  void end(z_stream& stream) { discard(stream, decoded_); }

 private:
  Bytes decoded_;
};

}  // namespace tarvik::zlib
