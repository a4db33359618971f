#include "BeaconSDK/Platform/Location/Radio/RssiFilter.h"

#include <algorithm>
#include <array>
#include <cmath>
#include <numeric>

namespace ks {

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

class TrimmedMeanFilter final : public RssiFilter {
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

class MedianFilter final : public RssiFilter {
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

class ExponentialFilter final : public RssiFilter {
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

/// One-dimensional Kalman filter of a random walk. The adaptive kind limits what one sample can
/// say, and opens up when the samples keep missing to one side.
class KalmanFilter final : public RssiFilter {
 public:
  struct Tuning {
    /// Variance that the true value gains in a second, dB^2.
    double processNoise;
    bool adaptive;
  };
  explicit KalmanFilter(Tuning tuning) : tuning_(tuning) {}

  void add(Seconds time, Dbm rssi) override {
    if (!begun_) {
      value_ = rssi.value;
      variance_ = kMeasurementNoise;
      last_ = time;
      begun_ = true;
      return;
    }
    const double elapsed = (time - last_).count();
    last_ = time;
    variance_ += tuning_.processNoise * elapsed;
    double surprise = rssi.value - value_;
    if (tuning_.adaptive) surprise = adapted(surprise, elapsed);
    const double gain = variance_ / (variance_ + kMeasurementNoise);
    value_ += gain * surprise;
    variance_ *= 1 - gain;
  }
  Dbm value() const override { return {value_}; }

 private:
  static constexpr double kMeasurementNoise = 25;
  // A sample says at most this many standard deviations.
  static constexpr double kLargestSurprise = 2;
  // The mean of the misses in standard deviations: its time constant, what one sample may weigh in
  // it, and from where on it means that the beacon has moved.
  static constexpr double kMissMemory = 6;
  static constexpr double kMissWeight = 0.4;
  static constexpr double kMoveThreshold = 0.9;

  double adapted(double surprise, double elapsed) {
    const double deviation = std::sqrt(variance_ + kMeasurementNoise);
    const double limit = kLargestSurprise * deviation;
    surprise = std::clamp(surprise, -limit, limit);
    const double weight = std::min(kMissWeight, 1 - std::exp(-elapsed / kMissMemory));
    miss_ += weight * (surprise / deviation - miss_);
    if (std::abs(miss_) > kMoveThreshold) {
      variance_ = std::max(variance_, kMeasurementNoise * miss_ * miss_);
    }
    return surprise;
  }

  Tuning tuning_;
  Seconds last_{0};
  double value_ = 0;
  double variance_ = 0;
  double miss_ = 0;
  bool begun_ = false;
};

}  // namespace

std::unique_ptr<RssiFilter> makeRssiFilter(RssiFilterKind kind) {
  switch (kind) {
    case RssiFilterKind::movingAverage:
      return std::make_unique<TrimmedMeanFilter>(Seconds{5}, 0);
    case RssiFilterKind::movingMedian:
      return std::make_unique<MedianFilter>(Seconds{5});
    case RssiFilterKind::trimmedMean:
      return std::make_unique<TrimmedMeanFilter>(Seconds{10}, 10);
    case RssiFilterKind::exponential:
      return std::make_unique<ExponentialFilter>();
    case RssiFilterKind::kalman:
      return std::make_unique<KalmanFilter>(KalmanFilter::Tuning{1.0, false});
    case RssiFilterKind::adaptiveKalman:
      return std::make_unique<KalmanFilter>(KalmanFilter::Tuning{0.05, true});
  }
  return nullptr;
}

std::string_view rssiFilterName(RssiFilterKind kind) {
  switch (kind) {
    case RssiFilterKind::movingAverage:
      return "moving average, 5 s";
    case RssiFilterKind::movingMedian:
      return "moving median, 5 s";
    case RssiFilterKind::trimmedMean:
      return "trimmed mean, 10 s";
    case RssiFilterKind::exponential:
      return "exponential, 3 s";
    case RssiFilterKind::kalman:
      return "Kalman";
    case RssiFilterKind::adaptiveKalman:
      return "adaptive Kalman";
  }
  return "";
}

const std::vector<RssiFilterKind>& allRssiFilters() {
  static const std::vector<RssiFilterKind> kAll{
      RssiFilterKind::movingAverage, RssiFilterKind::movingMedian, RssiFilterKind::trimmedMean,
      RssiFilterKind::exponential,   RssiFilterKind::kalman,       RssiFilterKind::adaptiveKalman};
  return kAll;
}

}  // namespace ks
