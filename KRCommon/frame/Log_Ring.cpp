#include <KRCommon/frame/Log_Ring.h>

#include <algorithm>
#include <vector>

namespace kr_internal {

namespace {

std::vector<std::unique_ptr<Log_Ring>>& all_rings()
{
    static auto& rings = *new std::vector<std::unique_ptr<Log_Ring>>;
    return rings;
}

} // namespace

std::atomic<Log_Ring*> ring_in_use{nullptr};

Log_Ring::Log_Ring(std::size_t lines) : size_(lines), slots_(std::make_unique<Slot[]>(lines)) {}

void Log_Ring::forget_other_threads() noexcept
{
    for (std::size_t i = 0; i < size_; ++i)
        if (slots_[i].is_in_use.exchange(false))
            slots_[i].number = 0;
}

void set_log_ring(std::size_t lines)
{
    if (lines == 0) {
        ring_in_use = nullptr;
        return;
    }
    auto& rings = all_rings();
    auto found = std::find_if(rings.begin(), rings.end(),
                              [=](const auto& ring) { return ring->size() == lines; });
    if (found == rings.end()) {
        rings.push_back(std::make_unique<Log_Ring>(lines));
        found = rings.end() - 1;
    }
    ring_in_use = found->get();
}

} // namespace kr_internal
