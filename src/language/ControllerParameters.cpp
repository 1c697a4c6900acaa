// Parameters of the tools that work on controllers.

#include <array>

#include "language/ParameterFunctions.hpp"

namespace varnolex {

namespace {

constexpr std::int64_t above = 0;
constexpr std::int64_t below = 1;
constexpr std::int64_t between = 2;
constexpr std::int64_t outside = 3;

// The number by which a patch says "any controller".
constexpr std::int64_t anyController = 200;

void readThresholdBand(NodeParameters& call, std::int64_t mode, std::string_view text) {
    auto band = readDottedRange(text);
    // Graphs are written out with a comma in place of the dots, which parts the upper bound from the key.
    if (text.find("..") == std::string_view::npos && call.positional(0)) {
        band.high = readInteger(*call.positional(0)).value_or(band.high);
    }
    call.set("mode", mode);
    call.range("lowThreshold", "highThreshold", band);
}

}  // namespace

void readCCMapParameters(NodeParameters& call) {
    const auto source = call.positional(0);
    call.integer("sourceCC", source, source == "any" ? anyController : 10);
    call.byte("destCC", call.positional(1));
    call.integer("scalePercent", call.named({"scale"}), 100);
    if (const auto range = call.named({"range"})) call.range("outputMin", "outputMax", readHyphenRange(*range));
}

void readControlSplitParameters(NodeParameters& call) {
    const auto source = call.named({"cc"});
    call.byte("sourceCC", source ? source : call.positional(0));
    if (const auto controller = call.named({"dest"}); controller && readInteger(*controller)) {
        call.set("setController", true);
        call.byte("destCC", controller);
    }
    if (const auto channel = call.named({"ch"}); channel && readInteger(*channel)) {
        call.set("setChannel", true);
        call.byte("channelValue", channel);
    }
    call.toggle("inverse", call.named({"invert", "inverse"}));
    if (const auto limit = call.named({"limit"})) {
        call.set("limitEnabled", true);
        call.range("limitMin", "limitMax", readHyphenRange(*limit));
    }
    if (const auto scale = call.named({"scale"})) {
        call.set("scaleEnabled", true);
        call.range("scaleMin", "scaleMax", readHyphenRange(*scale));
    }
    call.toggle("duplicateOriginal", call.named({"duplicate"}));
}

void readSmoothParameters(NodeParameters& call) {
    call.integer("slewMs", call.positional(0), 200);
    call.integer("threshold", call.named({"threshold"}), 5);
}

void readThresholdParameters(NodeParameters& call) {
    if (const auto bound = call.named({"above"})) {
        call.set("mode", above);
        call.byte("lowThreshold", bound, 64);
    }
    if (const auto bound = call.named({"below"})) {
        call.set("mode", below);
        call.byte("highThreshold", bound, 32);
    }
    if (const auto band = call.named({"between"})) readThresholdBand(call, between, *band);
    if (const auto band = call.named({"outside"})) readThresholdBand(call, outside, *band);
    if (const auto output = call.named({"remap"})) {
        call.set("remapOutput", true);
        call.range("remapMin", "remapMax", readDottedRange(*output));
    }
}

void readPanicParameters(NodeParameters& call) {
    const auto trigger = call.named({"trigger"});
    if (const auto controller = trigger ? readController(*trigger) : std::nullopt) call.set("triggerCC", *controller);
}

}  // namespace varnolex
