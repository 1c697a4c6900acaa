#pragma once

#include "studio/Modular.hpp"

namespace varnolex {

class VirtualPortManager;

/// Attaches a started graph's inputs and outputs to the endpoints that they were stored with. `ports` owns the virtual
/// ones; a port that an older file speaks of is found by its name, and an output that used to be a source of its
/// own gets a virtual output. Without `ports` only endpoints of the system are attached. Main thread.
void bindEndpoints(const Modular& modular, VirtualPortManager* ports);

}  // namespace varnolex
