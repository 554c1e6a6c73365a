// histogram - answer times in buckets whose width grows with the value: at most 3% off, fixed size, no allocation.
//
// Unit: real microseconds, from 0 to about 19 hours; what is longer counts as that. The largest value is kept exactly.
#pragma once

#include <array>
#include <cstddef>
#include <cstdint>

namespace apsim {

class Histogram {
public:
    void add(std::int64_t value);
    void merge(const Histogram& other);
    std::uint64_t count() const { return count_; }
    std::int64_t max() const { return max_; }
    double mean() const { return count_ == 0 ? 0 : static_cast<double>(sum_) / static_cast<double>(count_); }
    // The value that `percent` of all lie at or below (upper edge of its bucket, never above max); 0 when empty.
    std::int64_t percentile(double percent) const;

private:
    static constexpr unsigned sub_bits = 5; // 32 buckets to each power of two
    static constexpr std::size_t sub_count = std::size_t{1} << sub_bits;
    static constexpr std::size_t bucket_count = sub_count * 32;
    static std::size_t bucket_of(std::uint64_t value);
    static std::uint64_t upper_edge(std::size_t bucket);

    std::array<std::uint32_t, bucket_count> buckets_{};
    std::uint64_t count_ = 0;
    std::int64_t sum_ = 0;
    std::int64_t max_ = 0;
};

} // namespace apsim
