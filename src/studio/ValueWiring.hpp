#pragma once

namespace varnolex {

class Modular;
class PipeTool;

/// Connects the producers of a graph to what its value cables lead to: clears the live values of ports that have
/// no cable, sets where each producer fires to, and brings every cable its source's present number. Main thread.
void wireValues(Modular& modular);

/// Takes a tool's deliveries away. Main thread.
void unwireValues(PipeTool& tool);

}  // namespace varnolex
