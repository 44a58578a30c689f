#include "zam/results/error_matrix.h"

#include "zam/foundation/create_counted.h"
#include "zam/foundation/exceptions.h"
#include "zam/results/out_of_bounds.h"

namespace ZaM {

namespace {

std::size_t Checked(unsigned int id, std::vector<unsigned int> const& totals) {
  if (id >= totals.size()) detail::ThrowOutOfBounds(id, totals.size());
  return id;
}

}  // namespace

constinit RepTag const ErrorMatrix::DefaultTag = {{'E', 'm', 't', 'x'}};

ErrorMatrix* ErrorMatrix::Create(unsigned int classes) {
  RequireAtMost(u"classes of a matrix", classes, maxClasses);
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
  if (!Holds(trueClass, assignedClass)) return;
  CountCell(trueClass, assignedClass);  // first, since it alone may fail
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
  if (!Holds(trueClass, assignedClass)) return 0;
  if (trueClass == assignedClass) return diagonal[trueClass];
  auto const cell = offDiagonal.find(Key(trueClass, assignedClass));
  return cell != offDiagonal.end() ? cell->second : 0;
}

unsigned int ErrorMatrix::GetClassCount(unsigned int id) const {
  return classCount[Checked(id, classCount)];
}

unsigned int ErrorMatrix::GetClassImported(unsigned int id) const {
  return classImported[Checked(id, classImported)];
}

unsigned int ErrorMatrix::GetClassExported(unsigned int id) const {
  return classExported[Checked(id, classExported)];
}

void ErrorMatrix::IncreaseClassCount(unsigned int id) {
  ++classCount[Checked(id, classCount)];
}

void ErrorMatrix::IncreaseClassImported(unsigned int id) {
  ++classImported[Checked(id, classImported)];
}

void ErrorMatrix::IncreaseClassExported(unsigned int id) {
  ++classExported[Checked(id, classExported)];
}

bool ErrorMatrix::Holds(unsigned int trueClass, unsigned int assignedClass) const {
  return trueClass < diagonal.size() && assignedClass < diagonal.size();
}

std::uint64_t ErrorMatrix::Key(unsigned int trueClass, unsigned int assignedClass) const {
  return std::uint64_t{diagonal.size()} * assignedClass + trueClass;
}

void ErrorMatrix::CountCell(unsigned int trueClass, unsigned int assignedClass) {
  if (trueClass == assignedClass) {
    ++diagonal[trueClass];
  } else {
    ReportOutOfMemory([&] { ++offDiagonal[Key(trueClass, assignedClass)]; });
  }
}

}  // namespace ZaM
