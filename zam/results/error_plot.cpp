#include "zam/results/error_plot.h"

#include "zam/foundation/create_counted.h"

namespace ZaM {

constinit RepTag const ErrorPlot::DefaultTag = {{'E', 'p', 'l', 't'}};

ErrorPlot* ErrorPlot::Create(unsigned int classId) {
  return CreateCounted([classId] { return new ErrorPlot(classId); });
}

ErrorPlot::ErrorPlot(unsigned int describedClass) : Representation(DefaultTag), classId(describedClass) {}

ErrorPlot::~ErrorPlot() = default;

void ErrorPlot::add(Representation const& other) {
  auto const* const plot = dynamic_cast<ErrorPlot const*>(&other);
  if (!plot || !plot->IsValid()) return;
  count += plot->count;
  for (unsigned int bin = 0; bin < binCount; ++bin) {
    good[bin] += plot->good[bin];
    bad[bin] += plot->bad[bin];
  }
}

bool ErrorPlot::IsValid() const {
  return count > 0;
}

void ErrorPlot::IncrGood(unsigned int bin) {
  Increase(good, bin);
}

void ErrorPlot::IncrBad(unsigned int bin) {
  Increase(bad, bin);
}

std::vector<float> ErrorPlot::GetGoodHistogram() const {
  return Curve(good);
}

std::vector<float> ErrorPlot::GetBadHistogram() const {
  return Curve(bad);
}

void ErrorPlot::Increase(Bins& bins, unsigned int bin) {
  if (bin >= binCount) return;
  ++count;
  ++bins[bin];
}

std::vector<float> ErrorPlot::Curve(Bins const& bins) const {
  auto shares = ReportOutOfMemory([] { return std::vector<float>(binCount); });
  if (!IsValid()) return shares;
  for (unsigned int bin = 0; bin < binCount; ++bin) {
    shares[bin] = static_cast<float>(static_cast<double>(bins[bin]) / count);
  }
  for (unsigned int bin = binCount - 1; bin > 0; --bin) shares[bin - 1] += shares[bin];
  return shares;
}

}  // namespace ZaM
