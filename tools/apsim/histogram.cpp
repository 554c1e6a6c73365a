#include "histogram.h"

#include <algorithm>
#include <bit>
#include <cmath>

namespace apsim {

// Values below 32 have a bucket each; above, the five bits behind the leading one choose it.
std::size_t Histogram::bucket_of(std::uint64_t value)
{
    if (value < sub_count) return static_cast<std::size_t>(value);
    const unsigned shift = static_cast<unsigned>(std::bit_width(value)) - 1 - sub_bits;
    const std::size_t bucket = (shift + 1) * sub_count + static_cast<std::size_t>((value >> shift) - sub_count);
    return std::min(bucket, bucket_count - 1);
}

std::uint64_t Histogram::upper_edge(std::size_t bucket)
{
    if (bucket < sub_count) return bucket;
    const std::size_t shift = bucket / sub_count - 1;
    return ((bucket % sub_count + sub_count + 1) << shift) - 1;
}

void Histogram::add(std::int64_t value)
{
    value = std::max<std::int64_t>(value, 0);
    buckets_[bucket_of(static_cast<std::uint64_t>(value))]++;
    count_++;
    sum_ += value;
    max_ = std::max(max_, value);
}

void Histogram::merge(const Histogram& other)
{
    for (std::size_t i = 0; i < bucket_count; i++)
        buckets_[i] += other.buckets_[i];
    count_ += other.count_;
    sum_ += other.sum_;
    max_ = std::max(max_, other.max_);
}

std::int64_t Histogram::percentile(double percent) const
{
    if (count_ == 0) return 0;
    const double exact = std::ceil(percent / 100.0 * static_cast<double>(count_));
    const std::uint64_t wanted = std::clamp<std::uint64_t>(static_cast<std::uint64_t>(exact), 1, count_);
    std::uint64_t seen = 0;
    for (std::size_t i = 0; i < bucket_count; i++) {
        seen += buckets_[i];
        if (seen >= wanted) return std::min(static_cast<std::int64_t>(upper_edge(i)), max_);
    }
    return max_;
}

} // namespace apsim
