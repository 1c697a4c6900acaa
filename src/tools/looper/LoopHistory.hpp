#pragma once

#include <array>
#include <cstddef>
#include <utility>

#include "tools/looper/LoopBuffer.hpp"

namespace varnolex {

/// The loop with one step of undo and one of redo. The three change places instead of being copied wherever they can.
/// Touched inside walks only; nothing allocates.
class LoopHistory {
public:
    LoopBuffer& loop() { return buffers[current]; }
    const LoopBuffer& loop() const { return buffers[current]; }

    bool canUndo() const { return hasUndo; }
    bool canRedo() const { return hasRedo; }

    /// Remembers the loop as it is now.
    void keepForUndo() {
        buffers[undoPlace].copyFrom(loop());
        hasUndo = true;
        hasRedo = false;
    }

    /// False, with nothing changed, when there is nothing to go back to.
    bool undo() {
        if (!hasUndo) return false;
        // The loop goes to redo, undo's becomes the loop, and undo is left with memory that nobody needs.
        std::swap(current, undoPlace);
        std::swap(undoPlace, redoPlace);
        hasUndo = false;
        hasRedo = true;
        return true;
    }

    bool redo() {
        if (!hasRedo) return false;
        std::swap(current, redoPlace);
        std::swap(undoPlace, redoPlace);
        hasRedo = false;
        hasUndo = true;
        return true;
    }

    void forgetSteps() { hasUndo = hasRedo = false; }

private:
    std::array<LoopBuffer, 3> buffers;
    std::size_t current = 0;
    std::size_t undoPlace = 1;
    std::size_t redoPlace = 2;
    bool hasUndo = false;
    bool hasRedo = false;
};

}  // namespace varnolex
