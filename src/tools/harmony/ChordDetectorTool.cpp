#include "tools/harmony/ChordDetectorTool.hpp"

#include <array>
#include <utility>

#include "engine/ToolChain.hpp"
#include "tools/ToolDefinitions.hpp"
#include "tools/harmony/ChordRecognition.hpp"

namespace varnolex {
namespace {

using namespace parameters;

constexpr std::array table{
    integer<&ChordDetectorSettings::maxHistory>("maxHistory"),
};

/// Fingers don't fall at once: the notes must rest for so long before they are taken for a chord.
constexpr std::chrono::milliseconds restBeforeDetection{75};

bool beginsOrEndsNote(const ChainMessage& message) {
    return message.length >= 3 && (message.kind() == 0x80 || message.kind() == 0x90);
}

int lowestOf(const ChordDetectorTool::NoteSet& notes) {
    std::size_t note = 0;
    while (note + 1 < notes.size() && !notes[note]) ++note;
    return static_cast<int>(note);
}

PitchClassSet pitchClassesOf(const ChordDetectorTool::NoteSet& notes) {
    PitchClassSet classes;
    for (std::size_t note = 0; note < notes.size(); ++note)
        if (notes[note]) classes.insert(pitchClassOf(static_cast<int>(note)));
    return classes;
}

}  // namespace

ChordDetectorTool::ChordDetectorTool() : ConfiguredTool(chordDetectorDefinition) {}

void ChordDetectorTool::process(const ChainMessage& message, ToolChain& chain) {
    if (beginsOrEndsNote(message))
        hear(message);
    else if (news.isRefused()) [[unlikely]]
        news.inWalk();
    chain.forward(message);
}

void ChordDetectorTool::hear(const ChainMessage& message) {
    NoteSet& notes = rawActiveNotes.inWalk();
    notes.set(message.data1() & 0x7F, message.kind() == 0x90 && message.data2() > 0);
    News& heard = news.inWalk();
    const std::uint32_t current = generation.get();
    const bool fellSilent = notes.none() || (heard.fellSilent && heard.generation == current);
    heard = {notes, fellSilent, current};
}

/// What sounded before the last silence is gone, and no chord could be found in it meanwhile.
void ChordDetectorTool::take(const News& heard) {
    showWhatIsForgotten();
    if (heard.generation != shownGeneration) return;
    if (heard.fellSilent) show({});
    if (heard.notes.any()) show(heard.notes);
}

void ChordDetectorTool::forgetHeard() {
    rawActiveNotes.forget();
    generation.add(1);
}

void ChordDetectorTool::showWhatIsForgotten() {
    const std::uint32_t current = generation.get();
    if (std::exchange(shownGeneration, current) != current) show({});
}

void ChordDetectorTool::stop() {
    forgetHeard();
    showWhatIsForgotten();
}

void ChordDetectorTool::enabledDidChange(bool isOn) {
    if (isOn) return;
    // The ends of what sounds now won't be seen. The switch may be a controller's, on a walk's thread.
    forgetHeard();
    Runtime::current().postToMain([weak = weak_from_this()] {
        if (const auto self = std::static_pointer_cast<ChordDetectorTool>(weak.lock())) self->showWhatIsForgotten();
    });
}

void ChordDetectorTool::reset() {
    forgetHeard();
    lastMatchedChord.clear();
    history.clear();
    showWhatIsForgotten();
}

void ChordDetectorTool::show(const NoteSet& notes) {
    shownNotes = notes;
    shownClasses = pitchClassesOf(notes);
    detectWork.cancel();
    if (notes.none()) {
        keepInHistory();
        return showNoChord();
    }
    detectWork = Runtime::current().mainQueue().after(restBeforeDetection, [weak = weak_from_this()] {
        if (const auto self = std::static_pointer_cast<ChordDetectorTool>(weak.lock())) self->detect();
    });
}

void ChordDetectorTool::showNoChord() {
    shownChord.clear();
    shownRoot.reset();
    shownIntervals = {};
}

void ChordDetectorTool::keepInHistory() {
    if (lastMatchedChord.empty()) return;
    history.push_back(std::exchange(lastMatchedChord, {}));
    while (!history.empty() && std::cmp_greater(history.size(), settings().maxHistory)) history.pop_front();
}

void ChordDetectorTool::detect() {
    const int bass = pitchClassOf(lowestOf(shownNotes));
    showNoChord();
    if (shownClasses.size() == 1) {
        shownRoot = bass;
        shownChord = namesOf(shownClasses);
    } else if (const auto match = matchChord(shownClasses, bass)) {
        shownRoot = match->root;
        shownChord = lastMatchedChord = match->name();
    } else {
        shownChord = namesOf(shownClasses);
    }
    if (shownRoot) shownIntervals = shownClasses.above(*shownRoot);
}

const ToolDefinition chordDetectorDefinition{
    PipeToolType::chordDetector, "ChordDetectorConfig", table,
    []() -> std::shared_ptr<PipeTool> { return std::make_shared<ChordDetectorTool>(); }};

}  // namespace varnolex
