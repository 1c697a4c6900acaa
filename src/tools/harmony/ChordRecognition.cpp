#include "tools/harmony/ChordRecognition.hpp"

namespace varnolex {
namespace {

constexpr ChordTemplate templates[] = {
    {"maj13", {0, 2, 4, 7, 9, 11}, 0},
    {"m11", {0, 2, 3, 5, 7, 10}, 0},
    {"m13", {0, 2, 3, 7, 9, 10}, 0},
    {"13", {0, 2, 4, 7, 9, 10}, 0},
    {"13sus4", {0, 2, 5, 7, 9, 10}, 0},
    {"7b9#9", {0, 1, 3, 4, 7, 10}, 0},
    {"7#9#11", {0, 3, 4, 6, 7, 10}, 0},
    {"7b9#11", {0, 1, 4, 6, 7, 10}, 0},
    {"7b9b13", {0, 1, 4, 7, 8, 10}, 0},
    {"9#11", {0, 2, 4, 6, 7, 10}, 0},
    {"13#9", {0, 3, 4, 7, 9, 10}, 0},
    {"13b9", {0, 1, 4, 7, 9, 10}, 0},
    {"maj9", {0, 2, 4, 7, 11}, 0},
    {"9", {0, 2, 4, 7, 10}, 0},
    {"m9", {0, 2, 3, 7, 10}, 0},
    {"mMaj9", {0, 2, 3, 7, 11}, 0},
    {"m6/9", {0, 2, 3, 7, 9}, 0},
    {"7#9", {0, 3, 4, 7, 10}, 0},
    {"9sus4", {0, 2, 5, 7, 10}, 0},
    {"maj7#11", {0, 4, 6, 7, 11}, 0},
    {"7#11", {0, 4, 6, 7, 10}, 0},
    {"7add13", {0, 4, 7, 9, 10}, 0},
    {"maj7", {0, 4, 7, 11}, 0},
    {"7", {0, 4, 7, 10}, 0},
    {"m7", {0, 3, 7, 10}, 0},
    {"mMaj7", {0, 3, 7, 11}, 0},
    {"dim7", {0, 3, 6, 9}, 0},
    {"m7b5", {0, 3, 6, 10}, 0},
    {"aug7", {0, 4, 8, 10}, 0},
    {"augMaj7", {0, 4, 8, 11}, 0},
    {"6", {0, 4, 7, 9}, 0},
    {"m6", {0, 3, 7, 9}, 0},
    {"6/9", {0, 2, 4, 7, 9}, 0},
    {"7b9", {0, 1, 4, 7, 10}, 0},
    {"7sus4", {0, 5, 7, 10}, 0},
    {"7sus2", {0, 2, 7, 10}, 0},
    {"maj7sus4", {0, 5, 7, 11}, 0},
    {"7b5", {0, 4, 6, 10}, 0},
    {"add9", {0, 2, 4, 7}, 0},
    {"madd9", {0, 2, 3, 7}, 0},
    {"sus24", {0, 2, 5, 7}, 0},
    {"madd4", {0, 3, 5, 7}, 0},
    {"", {0, 4, 7}, 10},
    {"m", {0, 3, 7}, 10},
    {"dim", {0, 3, 6}, 0},
    {"aug", {0, 4, 8}, 0},
    {"sus2", {0, 2, 7}, 0},
    {"sus4", {0, 5, 7}, 0},
    {"m#5", {0, 3, 8}, 0},
    {"7no5", {0, 4, 10}, 0},
    {"5", {0, 7}, 0},
};

constexpr int fifth = 7;

/// Keeps the best of what is offered; of equals, the first.
class BestChord {
public:
    void offer(int root, const ChordTemplate& chord, int score) {
        if (best && score <= bestScore) return;
        best = ChordMatch{root, chord.suffix};
        bestScore = score;
    }

    const std::optional<ChordMatch>& found() const { return best; }

private:
    std::optional<ChordMatch> best;
    int bestScore = 0;
};

/// `extra` comes on top of what the chord's size is worth.
void offerExact(BestChord& best, int root, PitchClassSet intervals, int extra) {
    for (const ChordTemplate& chord : templates)
        if (chord.intervals == intervals) best.offer(root, chord, 100 * intervals.size() + chord.priority + extra);
}

/// A third and a seventh say what a chord is without its fifth.
bool lacksOnlyItsFifth(PitchClassSet intervals) {
    return !intervals.contains(fifth) && (intervals.contains(3) || intervals.contains(4)) &&
           (intervals.contains(10) || intervals.contains(11));
}

void offerContained(BestChord& best, int root, PitchClassSet intervals, int extra) {
    for (const ChordTemplate& chord : templates)
        if (chord.intervals.size() > 2 && intervals.containsAll(chord.intervals))
            best.offer(root, chord, 10 * chord.intervals.size() + 5 + chord.priority + extra);
}

}  // namespace

std::span<const ChordTemplate> chordTemplates() { return templates; }

std::string ChordMatch::name() const {
    return std::string(pitchClassNames[static_cast<std::size_t>(root)]) + std::string(suffix);
}

std::optional<ChordMatch> matchChord(PitchClassSet sounding, int bass) {
    BestChord best;
    const auto forEachRoot = [&](auto&& offer) {
        for (int root = 0; root < pitchClassCount; ++root)
            if (sounding.contains(root)) offer(root, sounding.above(root), root == bass ? 1 : 0);
    };
    forEachRoot([&](int root, PitchClassSet intervals, int bassBonus) {
        offerExact(best, root, intervals, bassBonus);
        if (!lacksOnlyItsFifth(intervals)) return;
        intervals.insert(fifth);
        offerExact(best, root, intervals, bassBonus - 2);
    });
    if (!best.found()) {
        forEachRoot([&](int root, PitchClassSet intervals, int bassBonus) {
            offerContained(best, root, intervals, bassBonus);
        });
    }
    return best.found();
}

std::string namesOf(PitchClassSet pitchClasses) {
    std::string names;
    for (int pitchClass = 0; pitchClass < pitchClassCount; ++pitchClass) {
        if (!pitchClasses.contains(pitchClass)) continue;
        if (!names.empty()) names += ' ';
        names += pitchClassNames[static_cast<std::size_t>(pitchClass)];
    }
    return names;
}

}  // namespace varnolex
