#include "link.h"

namespace apsim {

bool Link::draw(double probability)
{
    // Drawn even for 0 and 1, so that changing one fault doesn't move the others.
    return std::uniform_real_distribution<double>(0, 1)(random_) < probability;
}

void Link::hold(std::size_t ap, ByteView datagram, micros due)
{
    queue_.push({due, order_++, {ap, Bytes(datagram.begin(), datagram.end())}});
}

void Link::push(std::size_t ap, ByteView datagram, micros now)
{
    stats_.taken++;
    const bool lost = draw(faults_.loss);
    const bool twice = draw(faults_.dup);
    const bool late = draw(faults_.reorder);
    if (lost) {
        stats_.lost++;
        return;
    }
    const micros due = now + faults_.delay + (late ? faults_.hold : 0);
    if (late) stats_.reordered++;
    hold(ap, datagram, due);
    if (!twice) return;
    stats_.duplicated++;
    hold(ap, datagram, due + faults_.hold);
}

std::optional<Link::Item> Link::pop(micros now)
{
    if (queue_.empty() || queue_.top().due > now) return std::nullopt;
    Item item = queue_.top().item;
    queue_.pop();
    return item;
}

} // namespace apsim
