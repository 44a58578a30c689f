// The stored form of a model.
#include <algorithm>
#include <array>
#include <bit>
#include <exception>
#include <istream>
#include <ostream>
#include <tuple>

#include "zam/algorithms/pca_analyzer.h"
#include "zam/foundation/create_counted.h"

namespace ZaM {

namespace {

// Numbers are little-endian byte by byte, doubles as IEEE 754 binary64.
template <class Number>
void Encode(Number number, char* bytes) {
  for (std::size_t i = 0; i < sizeof(Number); ++i) bytes[i] = static_cast<char>(number >> (8 * i) & 0xFFU);
}

template <class Number>
Number Decode(char const* bytes) {
  Number number = 0;
  for (std::size_t i = 0; i < sizeof(Number); ++i) {
    number |= static_cast<Number>(static_cast<unsigned char>(bytes[i])) << (8 * i);
  }
  return number;
}

constexpr std::size_t doubleSize = 8;
constexpr std::size_t blockSize = 4096;  // doubles that are stored and read at once

void WriteDoubles(std::ostream& stream, double const* numbers, std::size_t count) {
  std::array<char, blockSize * doubleSize> bytes;
  for (std::size_t done = 0; done < count;) {
    std::size_t const size = std::min(blockSize, count - done);
    for (std::size_t i = 0; i < size; ++i) {
      Encode(std::bit_cast<std::uint64_t>(numbers[done + i]), bytes.data() + i * doubleSize);
    }
    stream.write(bytes.data(), static_cast<std::streamsize>(size * doubleSize));
    done += size;
  }
}

// How many of `count` bytes there were, also from a stream that throws when it ends.
std::size_t ReadBytes(std::istream& stream, char* bytes, std::size_t count) {
  try {
    stream.read(bytes, static_cast<std::streamsize>(count));
  } catch (std::exception const&) {
    // The stream isn't good any more, which is all there is to report: it passes on what its buffer throws.
  }
  return static_cast<std::size_t>(stream.gcount());
}

// Makes room for the numbers as they come: what the header promises may not be there.
bool ReadDoubles(std::istream& stream, std::vector<double>& numbers, std::size_t count) {
  std::array<char, blockSize * doubleSize> bytes;
  numbers.clear();
  while (numbers.size() < count) {
    std::size_t const size = std::min(blockSize, count - numbers.size());
    if (ReadBytes(stream, bytes.data(), size * doubleSize) != size * doubleSize) return false;
    numbers.reserve(std::min(count, 2 * numbers.size() + size));
    for (std::size_t i = 0; i < size; ++i) {
      numbers.push_back(std::bit_cast<double>(Decode<std::uint64_t>(bytes.data() + i * doubleSize)));
    }
  }
  return true;
}

// The fields before the vectors, by their offsets in bytes.
constexpr std::size_t dimensionAt = 0;
constexpr std::size_t maxIterationsAt = 4;
constexpr std::size_t maxExamplesAt = 8;
constexpr std::size_t exampleCountAt = 12;
constexpr std::size_t relearnAt = 16;
constexpr std::size_t totalAt = 20;
constexpr std::size_t epsilonAt = 28;
constexpr std::size_t headerSize = 36;

using Header = std::array<char, headerSize>;

}  // namespace

bool PcaAnalyzer::Save(std::basic_ostream<char>* stream) try {
  if (!stream || !stream->good() || !IsComplete()) return false;

  Header header;
  Encode(std::uint32_t{dimension}, header.data() + dimensionAt);
  Encode(std::uint32_t{maxIterations}, header.data() + maxIterationsAt);
  Encode(std::uint32_t{maxExamples}, header.data() + maxExamplesAt);
  Encode(static_cast<std::uint32_t>(examples.size()), header.data() + exampleCountAt);
  Encode(std::uint32_t{enableRelearn}, header.data() + relearnAt);
  Encode(std::bit_cast<std::uint64_t>(gramTotal), header.data() + totalAt);
  Encode(std::bit_cast<std::uint64_t>(epsilon), header.data() + epsilonAt);
  stream->write(header.data(), headerSize);

  WriteDoubles(*stream, gramRowSums.data(), gramRowSums.size());
  WriteDoubles(*stream, eigenValues.data(), eigenValues.size());
  for (std::vector<double> const& vector : eigenVectors) WriteDoubles(*stream, vector.data(), vector.size());
  if (enableRelearn) {
    for (std::size_t i = 0; i < examples.size(); ++i) SaveGramRow(*stream, i);
  }
  return stream->good();
} catch (std::exception const&) {
  return false;
}

// An example that was never in the model may have no row.
void PcaAnalyzer::SaveGramRow(std::basic_ostream<char>& stream, std::size_t index) const {
  if (HasGramRow(index)) return WriteDoubles(stream, gram[index].data(), index + 1);
  double const zero = 0.0;
  for (std::size_t j = 0; j <= index; ++j) WriteDoubles(stream, &zero, 1);
}

bool PcaAnalyzer::IsComplete() const {
  if (!HasModel() || eigenVectors.size() != VectorCount() || eigenValues.size() != VectorCount()) return false;
  if (gramRowSums.size() != maxExamples || examples.size() > maxExamples) return false;
  for (std::vector<double> const& vector : eigenVectors) {
    if (vector.size() != maxExamples) return false;
  }
  for (std::size_t i = 0; enableRelearn && i < examples.size(); ++i) {
    if (activity[i] > 0 && !HasGramRow(i)) return false;
  }
  return true;
}

bool PcaAnalyzer::Load(std::basic_istream<char>* stream) {
  if (!stream || !stream->good()) return false;
  Header header;
  std::size_t const present = ReadBytes(*stream, header.data(), headerSize);
  auto const own = [this] { return std::tuple(dimension, maxExamples, exampleCount, gramTotal); };
  auto const former = own();
  if (!LoadHeader(header.data(), present)) return false;
  if (present != headerSize || !stream->good()) {
    if (own() != former) ForgetModel();
    return false;
  }

  deallocate();
  passes = 0;
  converged = false;
  try {
    if (ReportOutOfMemory([&] { return LoadBody(*stream); })) return true;
  } catch (...) {
    ForgetModel();
    throw;
  }
  ForgetModel();
  return false;
}

// Takes the fields that lie within the first `size` bytes; none if they break a limit.
bool PcaAnalyzer::LoadHeader(char const* bytes, std::size_t size) {
  auto const field = [&](std::size_t offset, unsigned int former) {
    return offset + sizeof(std::uint32_t) <= size ? Decode<std::uint32_t>(bytes + offset) : former;
  };
  unsigned int const newDimension = field(dimensionAt, dimension);
  unsigned int const newMaxExamples = field(maxExamplesAt, maxExamples);
  unsigned int const newExampleCount = field(exampleCountAt, exampleCount);
  unsigned int const newMaxIterations = field(maxIterationsAt, maxIterations);
  auto const number = [&](std::size_t offset, double former) {
    return offset + doubleSize <= size ? std::bit_cast<double>(Decode<std::uint64_t>(bytes + offset)) : former;
  };
  double const newEpsilon = number(epsilonAt, epsilon);
  if (newMaxExamples == 0 || newMaxExamples > mostExamples || newExampleCount > newMaxExamples) return false;
  if (EntryCount(newDimension, newMaxExamples) > mostEntries) return false;
  if (newMaxIterations > mostPasses || !(newEpsilon >= 0.0)) return false;

  dimension = newDimension;
  maxIterations = newMaxIterations;
  maxExamples = newMaxExamples;
  exampleCount = newExampleCount;
  enableRelearn = field(relearnAt, enableRelearn ? 1 : 0) == 1;
  gramTotal = number(totalAt, gramTotal);
  epsilon = newEpsilon;
  return true;
}

bool PcaAnalyzer::LoadBody(std::basic_istream<char>& stream) {
  if (!ReadDoubles(stream, gramRowSums, maxExamples)) return false;
  if (!ReadDoubles(stream, eigenValues, VectorCount())) return false;
  eigenVectors.resize(VectorCount());
  for (std::vector<double>& vector : eigenVectors) {
    if (!ReadDoubles(stream, vector, maxExamples)) return false;
  }
  gram.resize(maxExamples);
  for (std::size_t i = 0; enableRelearn && i < exampleCount; ++i) {
    if (!ReadDoubles(stream, gram[i], i + 1)) return false;
  }
  return stream.good();
}

}  // namespace ZaM
