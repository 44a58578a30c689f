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
void encode(Number number, char* bytes) {
  for (std::size_t i = 0; i < sizeof(Number); ++i) bytes[i] = static_cast<char>(number >> (8 * i) & 0xFFU);
}

template <class Number>
Number decode(char const* bytes) {
  Number number = 0;
  for (std::size_t i = 0; i < sizeof(Number); ++i) {
    number |= static_cast<Number>(static_cast<unsigned char>(bytes[i])) << (8 * i);
  }
  return number;
}

constexpr std::size_t DoubleSize = 8;
constexpr std::size_t BlockSize = 4096;  // doubles that are stored and read at once

void writeDoubles(std::ostream& stream, double const* numbers, std::size_t count) {
  std::array<char, BlockSize * DoubleSize> bytes;
  for (std::size_t done = 0; done < count;) {
    std::size_t const size = std::min(BlockSize, count - done);
    for (std::size_t i = 0; i < size; ++i) {
      encode(std::bit_cast<std::uint64_t>(numbers[done + i]), bytes.data() + i * DoubleSize);
    }
    stream.write(bytes.data(), static_cast<std::streamsize>(size * DoubleSize));
    done += size;
  }
}

// How many of `count` bytes there were, also from a stream that throws when it ends.
std::size_t readBytes(std::istream& stream, char* bytes, std::size_t count) {
  try {
    stream.read(bytes, static_cast<std::streamsize>(count));
  } catch (std::exception const&) {
    // The stream isn't good any more, which is all there is to report: it passes on what its buffer throws.
  }
  return static_cast<std::size_t>(stream.gcount());
}

// Makes room for the numbers as they come: what the header promises may not be there.
bool readDoubles(std::istream& stream, std::vector<double>& numbers, std::size_t count) {
  std::array<char, BlockSize * DoubleSize> bytes;
  numbers.clear();
  while (numbers.size() < count) {
    std::size_t const size = std::min(BlockSize, count - numbers.size());
    if (readBytes(stream, bytes.data(), size * DoubleSize) != size * DoubleSize) return false;
    numbers.reserve(std::min(count, 2 * numbers.size() + size));
    for (std::size_t i = 0; i < size; ++i) {
      numbers.push_back(std::bit_cast<double>(decode<std::uint64_t>(bytes.data() + i * DoubleSize)));
    }
  }
  return true;
}

// The fields before the vectors, by their offsets in bytes.
constexpr std::size_t DimensionAt = 0;
constexpr std::size_t MaxIterationsAt = 4;
constexpr std::size_t MaxExamplesAt = 8;
constexpr std::size_t ExampleCountAt = 12;
constexpr std::size_t RelearnAt = 16;
constexpr std::size_t TotalAt = 20;
constexpr std::size_t EpsilonAt = 28;
constexpr std::size_t HeaderSize = 36;

using Header = std::array<char, HeaderSize>;

}  // namespace

bool PcaAnalyzer::Save(std::basic_ostream<char>* stream) try {
  if (!stream || !stream->good() || !isComplete()) return false;

  Header header;
  encode(std::uint32_t{dimension}, header.data() + DimensionAt);
  encode(std::uint32_t{maxIterations}, header.data() + MaxIterationsAt);
  encode(std::uint32_t{maxExamples}, header.data() + MaxExamplesAt);
  encode(static_cast<std::uint32_t>(examples.size()), header.data() + ExampleCountAt);
  encode(std::uint32_t{enableRelearn}, header.data() + RelearnAt);
  encode(std::bit_cast<std::uint64_t>(gramTotal), header.data() + TotalAt);
  encode(std::bit_cast<std::uint64_t>(epsilon), header.data() + EpsilonAt);
  stream->write(header.data(), HeaderSize);

  writeDoubles(*stream, gramRowSums.data(), gramRowSums.size());
  writeDoubles(*stream, eigenValues.data(), eigenValues.size());
  for (std::vector<double> const& vector : eigenVectors) writeDoubles(*stream, vector.data(), vector.size());
  if (enableRelearn) {
    for (std::size_t i = 0; i < examples.size(); ++i) saveGramRow(*stream, i);
  }
  return stream->good();
} catch (std::exception const&) {
  return false;
}

// An example that was never in the model may have no row.
void PcaAnalyzer::saveGramRow(std::basic_ostream<char>& stream, std::size_t index) const {
  if (hasGramRow(index)) return writeDoubles(stream, gram[index].data(), index + 1);
  double const zero = 0.0;
  for (std::size_t j = 0; j <= index; ++j) writeDoubles(stream, &zero, 1);
}

bool PcaAnalyzer::isComplete() const {
  if (!hasModel() || eigenVectors.size() != vectorCount() || eigenValues.size() != vectorCount()) return false;
  if (gramRowSums.size() != maxExamples || examples.size() > maxExamples) return false;
  for (std::vector<double> const& vector : eigenVectors) {
    if (vector.size() != maxExamples) return false;
  }
  for (std::size_t i = 0; enableRelearn && i < examples.size(); ++i) {
    if (activity[i] > 0 && !hasGramRow(i)) return false;
  }
  return true;
}

bool PcaAnalyzer::Load(std::basic_istream<char>* stream) {
  if (!stream || !stream->good()) return false;
  Header header;
  std::size_t const present = readBytes(*stream, header.data(), HeaderSize);
  auto const own = [this] { return std::tuple(dimension, maxExamples, exampleCount, gramTotal); };
  auto const former = own();
  if (!loadHeader(header.data(), present)) return false;
  if (present != HeaderSize || !stream->good()) {
    if (own() != former) forgetModel();
    return false;
  }

  deallocate();
  passes = 0;
  converged = false;
  try {
    if (ReportOutOfMemory([&] { return loadBody(*stream); })) return true;
  } catch (...) {
    forgetModel();
    throw;
  }
  forgetModel();
  return false;
}

// Takes the fields that lie within the first `size` bytes; none if they break a limit.
bool PcaAnalyzer::loadHeader(char const* bytes, std::size_t size) {
  auto const field = [&](std::size_t offset, unsigned int former) {
    return offset + sizeof(std::uint32_t) <= size ? decode<std::uint32_t>(bytes + offset) : former;
  };
  unsigned int const newDimension = field(DimensionAt, dimension);
  unsigned int const newMaxExamples = field(MaxExamplesAt, maxExamples);
  unsigned int const newExampleCount = field(ExampleCountAt, exampleCount);
  unsigned int const newMaxIterations = field(MaxIterationsAt, maxIterations);
  auto const number = [&](std::size_t offset, double former) {
    return offset + DoubleSize <= size ? std::bit_cast<double>(decode<std::uint64_t>(bytes + offset)) : former;
  };
  double const newEpsilon = number(EpsilonAt, epsilon);
  if (newMaxExamples == 0 || newMaxExamples > MostExamples || newExampleCount > newMaxExamples) return false;
  if (entryCount(newDimension, newMaxExamples) > MostEntries) return false;
  if (newMaxIterations > MostPasses || !(newEpsilon >= 0.0)) return false;

  dimension = newDimension;
  maxIterations = newMaxIterations;
  maxExamples = newMaxExamples;
  exampleCount = newExampleCount;
  enableRelearn = field(RelearnAt, enableRelearn ? 1 : 0) == 1;
  gramTotal = number(TotalAt, gramTotal);
  epsilon = newEpsilon;
  return true;
}

bool PcaAnalyzer::loadBody(std::basic_istream<char>& stream) {
  if (!readDoubles(stream, gramRowSums, maxExamples)) return false;
  if (!readDoubles(stream, eigenValues, vectorCount())) return false;
  eigenVectors.resize(vectorCount());
  for (std::vector<double>& vector : eigenVectors) {
    if (!readDoubles(stream, vector, maxExamples)) return false;
  }
  gram.resize(maxExamples);
  for (std::size_t i = 0; enableRelearn && i < exampleCount; ++i) {
    if (!readDoubles(stream, gram[i], i + 1)) return false;
  }
  return stream.good();
}

}  // namespace ZaM
