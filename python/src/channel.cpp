#include <algorithm>
#include <array>
#include <cerrno>
#include <chrono>
#include <cmath>
#include <cstdint>
#include <cstring>
#include <deque>
#include <fcntl.h>
#include <limits>
#include <list>
#include <nanobind/stl/optional.h>
#include <poll.h>
#include <string>
#include <sys/socket.h>

#include "python/src/remote.h"
#include "python/src/shared_memory.h"

namespace pyhost {
namespace {

constexpr std::size_t kAlignment = 16;           // at least that of any element
constexpr std::size_t kLargestInline = 1 << 16;  // goes through the socket
constexpr std::size_t kLargestAnswer = 1 << 22;  // without its arrays
constexpr std::size_t kMostDescriptors = 253;    // that the system takes in one message

/// There is nobody at the other end.
struct NobodyError : std::runtime_error {
  NobodyError() : std::runtime_error("nobody is at the other end") {}
};
/// It took too long.
struct LateError : std::runtime_error {
  LateError() : std::runtime_error("it took too long") {}
};

/// The bytes of a Python object.
class Buffer {
 public:
  explicit Buffer(nb::handle object) {
    if (PyObject_GetBuffer(object.ptr(), &view_, PyBUF_SIMPLE) != 0) throw nb::python_error();
  }
  ~Buffer() { PyBuffer_Release(&view_); }
  Buffer(const Buffer&) = delete;
  Buffer& operator=(const Buffer&) = delete;
  std::string_view bytes() const {
    return {static_cast<const char*>(view_.buf), static_cast<std::size_t>(view_.len)};
  }

 private:
  Py_buffer view_;
};

/// What a message consists of, and its size.
std::pair<std::vector<std::string_view>, std::size_t> piecesOf(const nb::bytes& document,
                                                               const std::list<Buffer>& parts) {
  static constexpr char kZeros[kAlignment] = {};
  std::vector<std::string_view> pieces{{document.c_str(), document.size()}};
  std::size_t size = document.size();
  for (const Buffer& part : parts) {
    pieces.emplace_back(kZeros, (kAlignment - size % kAlignment) % kAlignment);
    pieces.push_back(part.bytes());
    size += pieces.end()[-2].size() + part.bytes().size();
  }
  return {std::move(pieces), size};
}

std::vector<Descriptor> descriptorsIn(msghdr& header) {
  std::vector<Descriptor> found;
  for (cmsghdr* part = CMSG_FIRSTHDR(&header); part; part = CMSG_NXTHDR(&header, part)) {
    if (part->cmsg_level != SOL_SOCKET || part->cmsg_type != SCM_RIGHTS) continue;
    const auto* const numbers = reinterpret_cast<const int*>(CMSG_DATA(part));
    const std::size_t count = (part->cmsg_len - CMSG_LEN(0)) / sizeof(int);
    for (std::size_t i = 0; i < count; ++i) found.emplace_back(numbers[i]);
  }
  return found;
}

int millisecondsTo(double deadline) {
  if (std::isinf(deadline)) return -1;
  const std::chrono::duration<double> now = std::chrono::steady_clock::now().time_since_epoch();
  const double left = std::ceil((deadline - now.count()) * 1000);
  return static_cast<int>(std::clamp<double>(left, 0, std::numeric_limits<int>::max()));
}

/// One end of a socket that keeps the bounds of messages.
///
/// A message is a document, then the bytes of arrays, each at a multiple of 16. A small message
/// goes through the socket. A large one lies in a memory file whose descriptor goes through the
/// socket; the file is sealed, so that it stays as it is while it is looked at.
///
/// A signal's handler may raise while a function waits, or as soon as it has returned. So a message
/// is sent as a whole or not at all, which due() tells, and what came stays until done().
class Channel {
 public:
  /// The end that serves trusts the other one, which may send its current folder. To the end that
  /// asks, the start of the other is request number 0.
  Channel(int descriptor, bool serves)
      : socket_(Descriptor::opened(fcntl(descriptor, F_DUPFD_CLOEXEC, 0))), serves_(serves) {
    if (!serves) due_.push_back(0);
  }

  void send(const nb::bytes& document, const nb::list& parts, std::optional<std::int64_t> number,
            double deadline, bool folder) {
    std::list<Buffer> buffers;
    for (nb::handle part : parts) buffers.emplace_back(part);
    const auto [pieces, size] = piecesOf(document, buffers);
    const std::uint64_t head = document.size();
    std::string packet(reinterpret_cast<const char*>(&head), sizeof head);
    std::vector<Descriptor> files;
    if (folder) files.push_back(Descriptor::opened(open(".", O_PATH | O_CLOEXEC)));
    if (size > kLargestInline) {
      files.push_back(makeMemoryFile(pieces));
    } else {
      for (const std::string_view piece : pieces) packet.append(piece);
    }
    transmit(packet, files, deadline);
    if (number) due_.push_back(*number);
  }

  nb::object receive(double deadline) {
    while (!kept_.is_valid()) {
      if (socket_.number() < 0) throw NobodyError();
      wait(POLLIN, deadline);
      take();
    }
    return kept_;
  }

  void done() {
    kept_.reset();
    if (!due_.empty()) due_.pop_front();
  }

  std::optional<std::int64_t> due() const {
    return due_.empty() ? std::nullopt : std::optional(due_.front());
  }

  void close() { socket_ = Descriptor(); }

 private:
  /// Waits a while; what a signal's handler raises meanwhile passes on.
  void wait(short event, double deadline) const {
    pollfd asked{socket_.number(), event, 0};
    int count = 0;
    {
      const nb::gil_scoped_release others;
      count = poll(&asked, 1, millisecondsTo(deadline));
    }
    if (count == 0 && millisecondsTo(deadline) == 0) throw LateError();
    if (count <= 0 && PyErr_CheckSignals() != 0) throw nb::python_error();
  }

  void transmit(std::string_view packet, const std::vector<Descriptor>& files,
                double deadline) const {
    alignas(cmsghdr) std::array<char, CMSG_SPACE(2 * sizeof(int))> control{};
    iovec bytes{const_cast<char*>(packet.data()), packet.size()};
    msghdr header{nullptr, 0, &bytes, 1, nullptr, 0, 0};
    if (!files.empty()) {
      header.msg_control = control.data();
      header.msg_controllen = CMSG_SPACE(files.size() * sizeof(int));
      cmsghdr* const rights = CMSG_FIRSTHDR(&header);
      *rights = {CMSG_LEN(files.size() * sizeof(int)), SOL_SOCKET, SCM_RIGHTS};
      std::transform(files.begin(), files.end(), reinterpret_cast<int*>(CMSG_DATA(rights)),
                     [](const Descriptor& file) { return file.number(); });
    }
    while (sendmsg(socket_.number(), &header, MSG_DONTWAIT | MSG_NOSIGNAL) < 0) {
      if (errno == EPIPE || errno == ECONNRESET || errno == EBADF) throw NobodyError();
      if (errno != EAGAIN && errno != EINTR) raiseSystemError(errno);
      wait(POLLOUT, deadline);
    }
  }

  /// Keeps the next message, if there is one.
  void take() {
    alignas(cmsghdr) std::array<char, CMSG_SPACE(kMostDescriptors * sizeof(int))> control;
    iovec bytes{packet_.data(), packet_.size()};
    msghdr header{nullptr, 0, &bytes, 1, control.data(), control.size(), 0};
    const ssize_t count = recvmsg(socket_.number(), &header, MSG_DONTWAIT | MSG_CMSG_CLOEXEC);
    if (count < 0 && (errno == EAGAIN || errno == EINTR)) return;
    if (count < 0) throw NobodyError();
    std::vector<Descriptor> files = descriptorsIn(header);
    if (count == 0) throw NobodyError();
    try {
      if ((header.msg_flags & MSG_CTRUNC) != 0) throw MessageError(std::strerror(EMFILE));
      if ((header.msg_flags & MSG_TRUNC) != 0) throw MessageError("a packet that is too long");
      kept_ = message({packet_.data(), static_cast<std::size_t>(count)}, std::move(files));
    } catch (const MessageError&) {
      close();
      throw;
    }
  }

  nb::object message(std::string_view packet, std::vector<Descriptor> files) const {
    std::uint64_t head = 0;
    if (packet.size() < sizeof head) throw MessageError("a packet that is too short");
    std::memcpy(&head, packet.data(), sizeof head);
    packet.remove_prefix(sizeof head);
    nb::object memory;
    if (!packet.empty()) {
      memory = nb::bytearray(packet.data(), packet.size());
    } else {
      if (files.empty()) throw MessageError("no memory file");
      memory = mapMemoryFile(files.back());
      files.pop_back();
    }
    if (files.size() > (serves_ ? 1 : 0)) throw MessageError("files that nobody asked for");
    if (!files.empty() && fchdir(files[0].number()) != 0) raiseSystemError(errno);
    const Buffer message(memory);
    if (head > std::min(message.bytes().size(), serves_ ? head : kLargestAnswer)) {
      throw MessageError("a document that is too long");
    }
    return nb::make_tuple(nb::bytes(message.bytes().data(), head), memory);
  }

  Descriptor socket_;
  bool serves_;
  std::deque<std::int64_t> due_;
  nb::object kept_;
  std::array<char, sizeof(std::uint64_t) + kLargestInline> packet_;
};

}  // namespace

void addChannel(nb::module_& m) {
  const nb::exception<MessageError> message(m, "MessageError");
  const nb::exception<NobodyError> nobody(m, "NobodyError");
  const nb::exception<LateError> late(m, "LateError");
  nb::class_<Channel>(m, "Channel", "One end of the socket between a gateway and its process.")
      .def(nb::init<int, bool>(), nb::arg("descriptor"), nb::kw_only(), nb::arg("serves"))
      .def("send", &Channel::send, nb::arg("document"), nb::arg("parts"), nb::arg("number").none(),
           nb::arg("deadline"), nb::arg("folder"),
           "Send a message, or none at all: document, the bytes of arrays, the request's number "
           "if an answer is due, the time to give up, and whether the current folder goes with it.")
      .def("receive", &Channel::receive, nb::arg("deadline"),
           "Wait for the next message: its document, and a buffer that begins with the document.")
      .def("done", &Channel::done, "Have done with what was received, which comes until then.")
      .def("close", &Channel::close, "Leave; the other end finds nobody.")
      .def_prop_ro("due", &Channel::due, "The first request whose answer is not done with.");
}

}  // namespace pyhost
