#pragma once

#include <memory>

#include "engine/CCBinding.hpp"
#include "studio/DocumentFindings.hpp"
#include "studio/Modular.hpp"
#include "studio/ModularDocument.hpp"

namespace varnolex {

// Live graphs and their stored form. Main thread.

ModularDocument::ModularSnapshot makeSnapshot(const Modular& modular);

/// A graph from its stored form, with the stored ids, not yet part of an engine: `adoptModular` and `startNodes` bring
/// it to life. No MIDI port is bound: that is `bindEndpoints`, for whoever wants it. A node that bears the id of an
/// earlier one gets a fresh id.
std::shared_ptr<Modular> restoreModular(const ModularDocument::ModularSnapshot& snapshot, DocumentFindings& findings);

/// The same for a caller that restores many graphs: the bindings are added to a map that it gives to the
/// store at the end, since the store takes all of them at once.
std::shared_ptr<Modular> restoreModular(const ModularDocument::ModularSnapshot& snapshot, DocumentFindings& findings,
                                        CCBindingStore::Map& bindings);

/// The stored form with fresh ids throughout, so that one patch can be brought in any number of times.
ModularDocument::ModularSnapshot withFreshIDs(ModularDocument::ModularSnapshot snapshot);

}  // namespace varnolex
