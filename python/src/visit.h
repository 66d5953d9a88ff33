/// Threads of Python inside this module's code, and the end of Python.
#pragma once

namespace pyhost {

/// One exists, with the interpreter's lock held, wherever the lock may be let go of below frames of
/// C++: in a call, and around what it calls in Python. A thread that asks for the lock while Python
/// ends is stopped by unwinding, which those frames do not survive. So once Python ends, only the
/// thread that ends it comes in; any other sleeps for ever, unless it is inside already.
class Visit {
 public:
  Visit();
  ~Visit();
  Visit(const Visit&) = delete;
  Visit& operator=(const Visit&) = delete;

  /// Python ends, and this thread ends it: waits until the others have left.
  static void endOthers();
  /// In the child of a fork there are no other threads.
  static void forgetOthers();
};

}  // namespace pyhost
