// Owns a number under which the system knows something that is open.
#ifndef ZAM_PLATFORM_DESCRIPTOR_H
#define ZAM_PLATFORM_DESCRIPTOR_H

#include <unistd.h>

#include <utility>

namespace ZaM::platform {

/// Owns an open descriptor, or none (-1), and closes it at its end.
class Descriptor {
 public:
  Descriptor() = default;
  explicit Descriptor(int openFile) : number(openFile) {}
  Descriptor(Descriptor&& other) noexcept : number(std::exchange(other.number, -1)) {}
  Descriptor& operator=(Descriptor other) noexcept {
    std::swap(number, other.number);
    return *this;
  }
  ~Descriptor() {
    if (number >= 0) close(number);
  }

  [[nodiscard]] bool IsOpen() const { return number >= 0; }

  /// -1 for none; still owned by this object.
  [[nodiscard]] int Number() const { return number; }

  /// Gives it up: the caller closes it.
  [[nodiscard]] int Detach() { return std::exchange(number, -1); }

 private:
  int number = -1;
};

}  // namespace ZaM::platform

#endif
