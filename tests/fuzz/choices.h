/// Where a fuzzer's decisions come from: a seed, or bytes that another fuzzer varies.
#pragma once

#include <cstddef>
#include <cstdint>
#include <initializer_list>
#include <iterator>
#include <random>

class Choices {
 public:
  Choices() = default;
  Choices(const Choices&) = delete;
  Choices& operator=(const Choices&) = delete;
  virtual ~Choices() = default;

  /// From 0 to bound - 1; 0 for a bound of 0.
  std::size_t below(std::size_t bound) { return bound < 2 ? 0 : next(bound) % bound; }
  bool oneIn(std::size_t n) { return below(n) == 0; }
  template <typename List>
  const auto& from(const List& list) {
    return *std::next(std::begin(list), static_cast<std::ptrdiff_t>(below(std::size(list))));
  }
  template <typename T>
  T from(std::initializer_list<T> list) {
    return *(list.begin() + below(list.size()));
  }
  /// Whether nothing is left to decide with.
  virtual bool exhausted() const { return false; }

 private:
  virtual std::size_t next(std::size_t bound) = 0;
};

class SeededChoices : public Choices {
 public:
  explicit SeededChoices(std::uint64_t seed) : engine_(seed) {}

 private:
  std::size_t next(std::size_t) override { return engine_(); }
  std::mt19937_64 engine_;
};

class ByteChoices : public Choices {
 public:
  ByteChoices(const std::uint8_t* bytes, std::size_t count) : next_(bytes), end_(bytes + count) {}
  bool exhausted() const override { return next_ == end_; }

 private:
  std::size_t next(std::size_t bound) override {
    std::size_t value = 0;
    for (std::size_t range = 1; range < bound && next_ != end_; range *= 256) {
      value = value * 256 + *next_++;
    }
    return value;
  }
  const std::uint8_t* next_;
  const std::uint8_t* end_;
};
