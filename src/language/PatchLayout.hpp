#pragma once

namespace varnolex {

class Modular;

/// Places the nodes in columns, each to the right of what feeds it. A node that only value cables reach or leave
/// stands below the node that it feeds.
void layOutLeftToRight(Modular& modular);

}  // namespace varnolex
