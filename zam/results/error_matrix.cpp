#include "zam/results/error_matrix.h"

#include "zam/foundation/create_counted.h"
#include "zam/foundation/exceptions.h"
#include "zam/results/out_of_bounds.h"

namespace ZaM {

namespace {

std::size_t checked(unsigned int id, std::vector<unsigned int> const& totals) {
  if (id >= totals.size()) detail::ThrowOutOfBounds(id, totals.size());
  return id;
}

}  // namespace

constinit RepTag const ErrorMatrix::DefaultTag = {{'E', 'm', 't', 'x'}};

ErrorMatrix* ErrorMatrix::Create(unsigned int classes) {
  RequireAtMost(u"classes of a matrix", classes, MaxClasses);
  return CreateCounted([classes] { return new ErrorMatrix(classes); });
}

ErrorMatrix::ErrorMatrix(unsigned int classes)
    : Representation(DefaultTag),
      classCount(classes),
      classImported(classes),
      classExported(classes),
      diagonal(classes) {}

ErrorMatrix::~ErrorMatrix() = default;

void ErrorMatrix::Increase(unsigned int trueClass, unsigned int assignedClass) {
  if (!holds(trueClass, assignedClass)) return;
  countCell(trueClass, assignedClass);  // first, since it alone may fail
  if (trueClass == 0) return;

  ++classCount[trueClass];
  ++docCount;
  if (trueClass == assignedClass) {
    ++correct;
  } else if (assignedClass == 0) {
    ++rejected;
  } else {
    ++incorrect;
    ++classExported[trueClass];
    ++classImported[assignedClass];
  }
}

unsigned int ErrorMatrix::GetResult(unsigned int trueClass, unsigned int assignedClass) const {
  if (!holds(trueClass, assignedClass)) return 0;
  if (trueClass == assignedClass) return diagonal[trueClass];
  auto const cell = offDiagonal.find(key(trueClass, assignedClass));
  return cell != offDiagonal.end() ? cell->second : 0;
}

unsigned int ErrorMatrix::GetClassCount(unsigned int id) const {
  return classCount[checked(id, classCount)];
}

unsigned int ErrorMatrix::GetClassImported(unsigned int id) const {
  return classImported[checked(id, classImported)];
}

unsigned int ErrorMatrix::GetClassExported(unsigned int id) const {
  return classExported[checked(id, classExported)];
}

void ErrorMatrix::IncreaseClassCount(unsigned int id) {
  ++classCount[checked(id, classCount)];
}

void ErrorMatrix::IncreaseClassImported(unsigned int id) {
  ++classImported[checked(id, classImported)];
}

void ErrorMatrix::IncreaseClassExported(unsigned int id) {
  ++classExported[checked(id, classExported)];
}

bool ErrorMatrix::holds(unsigned int trueClass, unsigned int assignedClass) const {
  return trueClass < diagonal.size() && assignedClass < diagonal.size();
}

std::uint64_t ErrorMatrix::key(unsigned int trueClass, unsigned int assignedClass) const {
  return std::uint64_t{diagonal.size()} * assignedClass + trueClass;
}

void ErrorMatrix::countCell(unsigned int trueClass, unsigned int assignedClass) {
  if (trueClass == assignedClass) {
    ++diagonal[trueClass];
  } else {
    ReportOutOfMemory([&] { ++offDiagonal[key(trueClass, assignedClass)]; });
  }
}

}  // namespace ZaM
