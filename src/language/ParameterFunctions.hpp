#pragma once

#include "language/NodeParameters.hpp"

namespace varnolex {

// How each kind reads its parameters, by family. A name in the text leads here through the table of node names.

// Endpoints, filters and channels.
void readInParameters(NodeParameters& call);
void readOutParameters(NodeParameters& call);
void readChannelFilterParameters(NodeParameters& call);
void readChannelRouterParameters(NodeParameters& call);
void readFilterParameters(NodeParameters& call);

// Notes and harmony.
void readTransposeParameters(NodeParameters& call);
void readSplitParameters(NodeParameters& call);
void readMonoParameters(NodeParameters& call);
void readDurationParameters(NodeParameters& call);
void readLatchParameters(NodeParameters& call);
void readStrumParameters(NodeParameters& call);
void readScaleParameters(NodeParameters& call);
void readChordParameters(NodeParameters& call);

// Values.
void readVelocityParameters(NodeParameters& call);
void readCurveParameters(NodeParameters& call);
void readRandomizerParameters(NodeParameters& call);
void readSetParameters(NodeParameters& call);
void readConvertParameters(NodeParameters& call);
void readPatchMapParameters(NodeParameters& call);

// Controllers.
void readCCMapParameters(NodeParameters& call);
void readControlSplitParameters(NodeParameters& call);
void readSmoothParameters(NodeParameters& call);
void readThresholdParameters(NodeParameters& call);
void readPanicParameters(NodeParameters& call);

// Time.
void readClockParameters(NodeParameters& call);
void readArpParameters(NodeParameters& call);
void readLFOParameters(NodeParameters& call);
void readDelayParameters(NodeParameters& call);
void readHumanizeParameters(NodeParameters& call);
void readQuantizeParameters(NodeParameters& call);
void readRoundRobinParameters(NodeParameters& call);
void readDuplicateParameters(NodeParameters& call);

}  // namespace varnolex
