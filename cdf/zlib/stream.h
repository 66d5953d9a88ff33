/// What the streams of both directions share: memory, checks and the counts that their user sees.
#pragma once

#include <cstddef>
#include <cstdint>
#include <new>

#define ZLIB_CONST
#include <zlib.h>

#define TARVIK_ZLIB_API extern "C" __attribute__((visibility("default")))

namespace tarvik::zlib {

constexpr int kGzip = 31;  ///< The windowBits that are served: the gzip format, 32 KiB of history.

enum class Kind : std::uint32_t { inflater = 0x7a496e66, deflater = 0x7a446566 };

/// What the state of every stream begins with.
struct State {
  const z_stream* owner;
  Kind kind;
};

/// Gets memory by the function that the user of the stream named; null if there is none.
void* allocate(z_stream& stream, std::size_t bytes);
void release(z_stream& stream, void* memory);

/// Checks the arguments that both directions have, as zlib does, and completes the stream's
/// functions for memory. Gives Z_OK, Z_VERSION_ERROR or Z_STREAM_ERROR.
int prepare(z_stream* stream, int windowBits, const char* version, int streamSize);

/// Makes the state of a prepared stream. Gives Z_OK or Z_MEM_ERROR.
template <typename Class>
int start(z_stream& stream) {
  void* const memory = allocate(stream, sizeof(Class));
  if (memory == nullptr) return Z_MEM_ERROR;
  auto* const state = new (memory) Class;
  state->owner = &stream;
  state->kind = Class::kKind;
  stream.state = reinterpret_cast<internal_state*>(state);
  stream.total_in = stream.total_out = 0;
  return Z_OK;
}

/// The state that `start` made for this stream; null for any other stream.
template <typename Class>
Class* stateOf(const z_stream* stream) {
  if (stream == nullptr || stream->zalloc == nullptr || stream->zfree == nullptr ||
      stream->state == nullptr) {
    return nullptr;
  }
  auto* const state = reinterpret_cast<Class*>(stream->state);
  return state->owner == stream && state->kind == Class::kKind ? state : nullptr;
}

/// Whether a call has somewhere to write to and something behind its count of input.
inline bool hasBuffers(const z_stream& stream) {
  return stream.next_out != nullptr && (stream.next_in != nullptr || stream.avail_in == 0);
}

inline void advanceInput(z_stream& stream, std::size_t count) {
  stream.next_in += count;
  stream.avail_in -= static_cast<uInt>(count);
  stream.total_in += count;
}

inline void advanceOutput(z_stream& stream, std::size_t count) {
  stream.next_out += count;
  stream.avail_out -= static_cast<uInt>(count);
  stream.total_out += count;
}

/// Bytes in the memory of a stream; `discard` gives it back.
struct Bytes {
  std::uint8_t* first = nullptr;
  std::size_t size = 0;
  std::size_t capacity = 0;
  std::size_t passed = 0;  ///< How many were passed on.
};

/// False, and nothing changed, where the memory cannot be had.
bool grow(z_stream& stream, Bytes& bytes, std::size_t capacity);
void discard(z_stream& stream, Bytes& bytes);
/// Copies what was not passed on to the stream's output; true if nothing is left.
bool passOn(z_stream& stream, Bytes& bytes);

}  // namespace tarvik::zlib
