#include <new>

#include "python/src/remote.h"
#include "python/src/visit.h"

namespace pyhost {
namespace {

namespace nb = nanobind;

/// A lock that is held while a Python function runs. A signal's handler may raise between any two
/// steps of Python, where a lock would be taken too late or given back too early.
class Turn {
 public:
  Turn() : lock_(PyThread_allocate_lock()) {
    if (lock_ == nullptr) throw std::bad_alloc();
  }
  ~Turn() { PyThread_free_lock(lock_); }
  Turn(const Turn&) = delete;
  Turn& operator=(const Turn&) = delete;

  bool isMine() const { return owner_ == PyThread_get_thread_ident(); }

  nb::object run(nb::handle work, const nb::args& arguments) {
    const Visit visit;
    if (isMine()) {  // a signal's handler calls, or the collection of memory
      PyErr_SetString(PyExc_RuntimeError,
                      "a call of this gateway is already under way in this thread");
      throw nb::python_error();
    }
    take();
    struct Holder {
      Turn& turn;
      ~Holder() {
        turn.owner_ = 0;
        PyThread_release_lock(turn.lock_);
      }
    };
    const Holder holder{*this};
    owner_ = PyThread_get_thread_ident();
    return work(*arguments);
  }

 private:
  /// Waits for the lock; what a signal's handler raises meanwhile passes on.
  void take() {
    PyLockStatus status = PyThread_acquire_lock_timed(lock_, 0, 0);
    while (status != PY_LOCK_ACQUIRED) {
      {
        const nb::gil_scoped_release others;
        status = PyThread_acquire_lock_timed(lock_, -1, 1);
      }
      if (status == PY_LOCK_INTR && PyErr_CheckSignals() != 0) throw nb::python_error();
    }
  }

  PyThread_type_lock lock_;
  unsigned long owner_ = 0;  // guarded by the interpreter's lock
};

}  // namespace

void addTurn(nb::module_& m) {
  nb::class_<Turn>(m, "Turn", "One function at a time, whatever interrupts it.")
      .def(nb::init<>())
      .def("run", &Turn::run, nb::arg("work"), nb::arg("arguments"),
           "Call a function when no other thread is in here.")
      .def_prop_ro("is_mine", &Turn::isMine, "Whether this thread is in run().");
}

}  // namespace pyhost
