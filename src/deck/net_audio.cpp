#include "deck/net_audio.h"

#include <utility>

#include "base/bounded.h"

namespace deckbus {

void net_audio::add(audio_chunk chunk) {
    tvr_lock hold(mutex);
    const auto last = last_seq.find(chunk.source);
    if (last != last_seq.end()) {
        const auto step = int32_t(chunk.seq - last->second);
        if (step <= 0 && step >= -max_jump) return;
        if (step >= 2 && step <= max_fill + 1) fill_gap(chunk, last->second, step - 1);
    }
    last_seq[chunk.source] = chunk.seq;
    chunks.push_back(std::move(chunk));
    tvr_drop_oldest(chunks, max_chunks);
}

void net_audio::fill_gap(const audio_chunk& next, uint32_t last, int32_t missing) {
    audio_chunk silence = next;
    silence.pcm.assign(next.pcm.size(), 0);
    for (int32_t i = 1; i <= missing; ++i) {
        silence.seq = last + uint32_t(i);
        chunks.push_back(silence);
    }
}

std::vector<audio_chunk> net_audio::take() {
    std::deque<audio_chunk> all;
    {
        tvr_lock hold(mutex);
        all.swap(chunks);
    }
    return {std::make_move_iterator(all.begin()), std::make_move_iterator(all.end())};
}

}  // namespace deckbus
