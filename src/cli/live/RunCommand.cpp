#include "cli/live/RunCommand.hpp"

#include "cli/Streams.hpp"
#include "cli/live/LiveBinding.hpp"
#include "cli/live/LiveSession.hpp"
#include "platform/audio/SystemAudioOutput.hpp"
#include "tools/looper/ClickAudioEngine.hpp"

namespace varnolex {

void runRun(const RunOptions& options) {
    const BrokenPipesIgnored silentReaders;
    LiveSession session(options.service);
    MIDIManager& endpoints = session.endpoints();
    session.startRecorder();
    ClickAudioEngine click(std::make_unique<SystemAudioOutput>());
    const ClickAudioEngineScope clickScope(click);

    ModularEngine engine;
    engine.clientRef = endpoints.clientRef();
    engine.showsParticles = false;
    const auto modular = loadPatch(options.patch, engine);
    LiveBinding binding(*modular, endpoints, {options.input, options.output}, tellUser);
    endpoints.onEndpointsChanged = [&binding] { binding.update(); };
    if (options.pressStart) pressStart(*modular);
    tellUser("\"" + modular->name + "\" runs on " + std::string(session.backendName()) + "; Ctrl-C ends it");

    session.run(durationOf(options.seconds));
    endpoints.onEndpointsChanged = nullptr;
    engine.setEnabled(false, *modular);
    for (const auto& output : binding.outputTools()) output->endSoundingNotes();
    session.runUntilDelivered();
    engine.removeModular(*modular);
}

}  // namespace varnolex
