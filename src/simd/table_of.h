// Lays a level's bodies out as a KernelTable.
#pragma once

#include "simd/kernel_table.h"

namespace imgcnv {

template <class Bodies>
struct TableOf {
    template <MonoLayout kLayout>
    static constexpr void fill_mono(KernelTable& t) {
        t.mono[kLayout][kGrey1] = Bodies::template mono<kLayout, kGrey1>;
        t.mono[kLayout][kGrey3] = Bodies::template mono<kLayout, kGrey3>;
        t.mono[kLayout][kGrey4] = Bodies::template mono<kLayout, kGrey4>;
    }

    template <TripleSink kSink>
    static constexpr void fill_sink(KernelTable& t) {
        t.color[kTriples][kSink] = Bodies::template color<kTriples, kSink>;
        t.color[kYuv444][kSink] = Bodies::template color<kYuv444, kSink>;
        t.color[kYuv422Uyvy][kSink] = Bodies::template color<kYuv422Uyvy, kSink>;
        t.color[kYuv422Yuyv][kSink] = Bodies::template color<kYuv422Yuyv, kSink>;
        t.color[kYuv411][kSink] = Bodies::template color<kYuv411, kSink>;
        fill_phase<kColorFirst, kSink>(t);
        fill_phase<kGreenFirst, kSink>(t);
    }

    template <Phase kPhase, TripleSink kSink>
    static constexpr void fill_phase(KernelTable& t) {
        t.nearest[kPhase][kSink] = Bodies::template nearest<kPhase, kSink>;
        t.bilinear[kPhase][kSink] = Bodies::template bilinear<kPhase, kSink>;
        t.bilinear_edge[kGreenFromRow][kPhase][kSink] =
            Bodies::template bilinear_edge<kGreenFromRow, kPhase, kSink>;
        t.bilinear_edge[kGreenFromNextRow][kPhase][kSink] =
            Bodies::template bilinear_edge<kGreenFromNextRow, kPhase, kSink>;
        fill_adaptive<kNoneCopied, kPhase, kSink>(t);
        fill_adaptive<kOwnCopied, kPhase, kSink>(t);
        fill_adaptive<kOtherCopied, kPhase, kSink>(t);
        fill_adaptive<kBothCopied, kPhase, kSink>(t);
    }

    template <AdaptiveRow kRow, Phase kPhase, TripleSink kSink>
    static constexpr void fill_adaptive(KernelTable& t) {
        t.adaptive_color[kRow][kPhase][kSink] =
            Bodies::template adaptive_color<kRow, kPhase, kSink>;
    }

    static constexpr KernelTable make(const char* name, const KernelTable* past_caches) {
        KernelTable t{};
        t.name = name;
        t.past_caches = past_caches;
        fill_mono<kBits1>(t);
        fill_mono<kNibbles>(t);
        fill_mono<kBytes>(t);
        fill_mono<kWords10>(t);
        fill_mono<kWords12>(t);
        fill_mono<kWords16>(t);
        fill_mono<kPacked>(t);
        fill_sink<kLumaRedFirst>(t);
        fill_sink<kLumaRedLast>(t);
        fill_sink<kAbc>(t);
        fill_sink<kCba>(t);
        fill_sink<kAbc0>(t);
        fill_sink<kCba0>(t);
        t.adaptive_green[kColorFirst] = Bodies::template adaptive_green<kColorFirst>;
        t.adaptive_green[kGreenFirst] = Bodies::template adaptive_green<kGreenFirst>;
        t.cell_green[kColorFirst] = Bodies::template cell_green<kColorFirst>;
        t.cell_green[kGreenFirst] = Bodies::template cell_green<kGreenFirst>;
        t.reverse1 = Bodies::reverse1;
        t.reverse3 = Bodies::reverse3;
        t.reverse_rows = Bodies::reverse_rows;
        t.turn90_1 = Bodies::turn90_1;
        t.turn90_3 = Bodies::turn90_3;
        t.turn270_1 = Bodies::turn270_1;
        t.turn270_3 = Bodies::turn270_3;
        return t;
    }
};

template <class Bodies>
constexpr KernelTable table_of(const char* name, const KernelTable* past_caches = nullptr) {
    return TableOf<Bodies>::make(name, past_caches);
}

}  // namespace imgcnv
