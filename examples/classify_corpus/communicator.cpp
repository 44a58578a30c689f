#include "communicator.h"

#include <utility>

#include "message.h"

namespace classify {

std::vector<std::string> Communicator::Gather(std::string bytes) {
  std::vector<std::string> parts(Size());
  parts.front() = std::move(bytes);
  return AllToAll(std::move(parts));
}

std::uint64_t Communicator::Sum(std::uint64_t number) {
  MessageWriter message;
  message.Put(number);
  std::uint64_t sum = 0;
  for (std::string const& part : AllToAll(std::vector(Size(), message.Take())))
    sum += MessageReader(part).Get<std::uint64_t>();
  return sum;
}

}  // namespace classify
