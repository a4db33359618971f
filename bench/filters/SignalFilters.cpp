#include "bench/filters/SignalFilters.h"

#include <algorithm>
#include <array>
#include <cmath>
#include <numeric>

#include "BeaconSDK/Platform/Location/Radio/RssiFilter.h"

namespace ks::bench {

namespace {

/// The samples of the last seconds, at least three and at most as many as fit.
class SampleWindow {
 public:
  explicit SampleWindow(Seconds length) : length_(length) {}

  void add(Seconds time, double rssi) {
    samples_[(first_ + count_) % kCapacity] = {time, rssi};
    if (count_ < kCapacity) {
      ++count_;
    } else {
      first_ = (first_ + 1) % kCapacity;
    }
    while (count_ > kFewest && time - samples_[first_].time > length_) {
      first_ = (first_ + 1) % kCapacity;
      --count_;
    }
  }

  std::vector<double> sorted() const {
    std::vector<double> values(count_);
    for (std::size_t i = 0; i < count_; ++i) {
      values[i] = samples_[(first_ + i) % kCapacity].rssi;
    }
    std::sort(values.begin(), values.end());
    return values;
  }

 private:
  static constexpr std::size_t kCapacity = 128;
  static constexpr std::size_t kFewest = 3;
  struct Sample {
    Seconds time{0};
    double rssi = 0;
  };
  Seconds length_;
  std::array<Sample, kCapacity> samples_;
  std::size_t first_ = 0;
  std::size_t count_ = 0;
};

double mean(const std::vector<double>& values, std::size_t trim) {
  const auto begin = values.begin() + static_cast<std::ptrdiff_t>(trim);
  const auto end = values.end() - static_cast<std::ptrdiff_t>(trim);
  return std::accumulate(begin, end, 0.0) / static_cast<double>(end - begin);
}

class TrimmedMeanFilter final : public SignalFilter {
 public:
  TrimmedMeanFilter(Seconds length, std::size_t percent) : window_(length), percent_(percent) {}
  void add(Seconds time, Dbm rssi) override {
    window_.add(time, rssi.value);
    const auto values = window_.sorted();
    value_ = mean(values, (values.size() * percent_ + 50) / 100);
  }
  Dbm value() const override { return {value_}; }

 private:
  SampleWindow window_;
  std::size_t percent_;
  double value_ = 0;
};

class MedianFilter final : public SignalFilter {
 public:
  explicit MedianFilter(Seconds length) : window_(length) {}
  void add(Seconds time, Dbm rssi) override {
    window_.add(time, rssi.value);
    const auto values = window_.sorted();
    const std::size_t middle = values.size() / 2;
    value_ = values.size() % 2 ? values[middle] : (values[middle - 1] + values[middle]) / 2;
  }
  Dbm value() const override { return {value_}; }

 private:
  SampleWindow window_;
  double value_ = 0;
};

class ExponentialFilter final : public SignalFilter {
 public:
  void add(Seconds time, Dbm rssi) override {
    const double weight = begun_ ? 1 - std::exp(-(time - last_) / kTimeConstant) : 1;
    value_ += weight * (rssi.value - value_);
    last_ = time;
    begun_ = true;
  }
  Dbm value() const override { return {value_}; }

 private:
  static constexpr Seconds kTimeConstant{3};
  Seconds last_{0};
  double value_ = 0;
  bool begun_ = false;
};

/// A random walk of 1 dB per square root of a second seen through 5 dB of noise.
class KalmanFilter final : public SignalFilter {
 public:
  void add(Seconds time, Dbm rssi) override {
    variance_ = begun_ ? variance_ + (time - last_).count() : 1e9;
    begun_ = true;
    last_ = time;
    const double gain = variance_ / (variance_ + kMeasurementNoise);
    value_ += gain * (rssi.value - value_);
    variance_ *= 1 - gain;
  }
  Dbm value() const override { return {value_}; }
  double deviationDb() const override { return std::sqrt(variance_); }

 private:
  static constexpr double kMeasurementNoise = 25;
  Seconds last_{0};
  double value_ = 0;
  double variance_ = 0;
  bool begun_ = false;
};

/// The engine's.
class ChosenFilter final : public SignalFilter {
 public:
  void add(Seconds time, Dbm rssi) override { filter_.add(time, rssi); }
  Dbm value() const override { return filter_.value(); }
  double deviationDb() const override { return filter_.deviationDb(); }
  bool isMoving() const override { return filter_.isMoving(); }

 private:
  RssiFilter filter_;
};

template <class Filter, int seconds = 0, int percent = 0>
std::unique_ptr<SignalFilter> make() {
  if constexpr (percent >= 0 && std::is_constructible_v<Filter, Seconds, std::size_t>) {
    return std::make_unique<Filter>(Seconds{seconds}, percent);
  } else if constexpr (std::is_constructible_v<Filter, Seconds>) {
    return std::make_unique<Filter>(Seconds{seconds});
  } else {
    return std::make_unique<Filter>();
  }
}

}  // namespace

const std::vector<FilterKind>& allFilters() {
  static const std::vector<FilterKind> kAll{{"the engine's", make<ChosenFilter>},
                                            {"moving average, 5 s", make<TrimmedMeanFilter, 5, 0>},
                                            {"moving median, 5 s", make<MedianFilter, 5>},
                                            {"trimmed mean, 10 s", make<TrimmedMeanFilter, 10, 10>},
                                            {"exponential, 3 s", make<ExponentialFilter>},
                                            {"Kalman", make<KalmanFilter>}};
  return kAll;
}

}  // namespace ks::bench
