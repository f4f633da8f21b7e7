#pragma once

// Datagram sockets of the abstract namespace. They end with the process and leave no file behind.

#include <sys/socket.h>
#include <sys/un.h>
#include <unistd.h>

#include <cerrno>
#include <cstddef>
#include <cstring>
#include <stdexcept>
#include <string>
#include <system_error>
#include <utility>

namespace drovik {

/// Such an address: the name, with the zero byte behind it that clients put there as well.
class Address {
 public:
  Address() = default;
  explicit Address(const std::string& name) : size_(offsetof(sockaddr_un, sun_path) + 2 + name.size()) {
    if (name.size() + 2 > sizeof address_.sun_path)
      throw std::runtime_error(name + ": too long for a socket's name");
    address_.sun_family = AF_UNIX;
    std::memcpy(address_.sun_path + 1, name.data(), name.size());
  }
  const sockaddr* get() const { return reinterpret_cast<const sockaddr*>(&address_); }
  sockaddr* get() { return reinterpret_cast<sockaddr*>(&address_); }
  socklen_t size() const { return static_cast<socklen_t>(size_); }
  void resize(socklen_t size) { size_ = size; }
  bool operator==(const Address& other) const {
    return size_ == other.size_ && std::memcmp(&address_, &other.address_, size_) == 0;
  }
  static constexpr socklen_t kCapacity = sizeof(sockaddr_un);

 private:
  sockaddr_un address_{};
  std::size_t size_ = 0;
};

class Socket {
 public:
  Socket() : handle_(socket(AF_UNIX, SOCK_DGRAM | SOCK_NONBLOCK | SOCK_CLOEXEC, 0)) {
    if (handle_ < 0) throw std::system_error(errno, std::generic_category(), "a socket");
  }
  ~Socket() {
    if (handle_ >= 0) close(handle_);
  }
  Socket(Socket&& other) noexcept : handle_(std::exchange(other.handle_, -1)) {}
  Socket& operator=(Socket&&) = delete;

  int handle() const { return handle_; }
  bool bind(const Address& name) const { return ::bind(handle_, name.get(), name.size()) == 0; }
  /// Only the peer's datagrams come in from now on. False when nobody is there.
  bool connect(const Address& peer) const { return ::connect(handle_, peer.get(), peer.size()) == 0; }
  void disconnect() const {
    sockaddr nobody{};
    nobody.sa_family = AF_UNSPEC;
    static_cast<void>(::connect(handle_, &nobody, sizeof nobody));
  }

  /// The size of the next datagram, of which no more than `size` bytes are kept; negative when there is none.
  ssize_t receive(void* bytes, std::size_t size, Address& sender) const {
    socklen_t length = Address::kCapacity;
    const ssize_t received = recvfrom(handle_, bytes, size, MSG_TRUNC, sender.get(), &length);
    sender.resize(length);
    return received;
  }
  ssize_t receive(void* bytes, std::size_t size) const { return recv(handle_, bytes, size, MSG_TRUNC); }
  bool send(const void* bytes, std::size_t size) const {
    return ::send(handle_, bytes, size, MSG_NOSIGNAL) == static_cast<ssize_t>(size);
  }
  bool sendTo(const Address& receiver, const void* bytes, std::size_t size) const {
    return sendto(handle_, bytes, size, MSG_NOSIGNAL, receiver.get(), receiver.size()) ==
           static_cast<ssize_t>(size);
  }

 private:
  int handle_;
};

}  // namespace drovik
