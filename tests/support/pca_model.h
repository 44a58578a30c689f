// A stored model of the principal components, taken to pieces and put together by hand.
#ifndef TESTS_SUPPORT_PCA_MODEL_H
#define TESTS_SUPPORT_PCA_MODEL_H

#include <bit>
#include <cstddef>
#include <cstdint>
#include <string>
#include <type_traits>
#include <vector>

namespace ZaM::test {

/// The numbers of a model, as docs/formats.md lists them.
struct StoredModel {
  std::uint32_t dimension = 0;
  std::uint32_t maxIterations = 0;
  std::uint32_t maxExamples = 0;
  std::uint32_t exampleCount = 0;
  std::int32_t hasGram = 0;
  double gramTotal = 0.0;
  double epsilon = 0.0;
  std::vector<double> gramRowSums;                // maxExamples
  std::vector<double> eigenValues;                // dimension + 1
  std::vector<std::vector<double>> eigenVectors;  // dimension + 1 rows of maxExamples
  std::vector<std::vector<double>> gram;          // if hasGram is 1: row i of i + 1 entries, exampleCount rows
};

inline constexpr std::size_t headerSize = 36;

template <class Number>
void Put(std::string& bytes, Number value) {
  auto const bits = std::bit_cast<std::conditional_t<sizeof(Number) == 8, std::uint64_t, std::uint32_t>>(value);
  for (std::size_t i = 0; i < sizeof(Number); ++i) bytes += static_cast<char>(bits >> 8 * i & 0xFF);
}

template <class Number>
void Take(std::string const& bytes, std::size_t& at, Number& value) {
  std::conditional_t<sizeof(Number) == 8, std::uint64_t, std::uint32_t> bits = 0;
  for (std::size_t i = 0; i < sizeof(Number); ++i) {
    bits |= decltype(bits){static_cast<unsigned char>(bytes.at(at++))} << 8 * i;
  }
  value = std::bit_cast<Number>(bits);
}

/// Calls `each` with every number in the order of the file. The vectors have their sizes already.
template <class Model, class Each>
void ForEachNumber(Model& model, Each each) {
  for (auto& number : model.gramRowSums) each(number);
  for (auto& number : model.eigenValues) each(number);
  for (auto* const rows : {&model.eigenVectors, &model.gram}) {
    for (auto& row : *rows) {
      for (auto& number : row) each(number);
    }
  }
}

template <class Model, class Each>
void ForEachHeaderField(Model& model, Each each) {
  each(model.dimension);
  each(model.maxIterations);
  each(model.maxExamples);
  each(model.exampleCount);
  each(model.hasGram);
  each(model.gramTotal);
  each(model.epsilon);
}

inline std::string ToBytes(StoredModel const& model) {
  std::string bytes;
  auto const put = [&](auto number) { Put(bytes, number); };
  ForEachHeaderField(model, put);
  ForEachNumber(model, put);
  return bytes;
}

/// Gives the vectors the sizes that the header asks for, with zeros in new places.
inline void SetSizes(StoredModel& model) {
  std::size_t const vectorCount = std::size_t{model.dimension} + 1;
  model.gramRowSums.resize(model.maxExamples);
  model.eigenValues.resize(vectorCount);
  model.eigenVectors.assign(vectorCount, std::vector<double>(model.maxExamples));
  model.gram.resize(model.hasGram == 1 ? model.exampleCount : 0);
  for (std::size_t i = 0; i < model.gram.size(); ++i) model.gram[i].resize(i + 1);
}

/// Throws std::out_of_range if `bytes` are too few.
inline StoredModel ToModel(std::string const& bytes) {
  StoredModel model;
  std::size_t at = 0;
  auto const take = [&](auto& number) { Take(bytes, at, number); };
  ForEachHeaderField(model, take);
  SetSizes(model);
  ForEachNumber(model, take);
  return model;
}

}  // namespace ZaM::test

#endif
