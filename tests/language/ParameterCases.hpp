#pragma once

#include <array>
#include <string_view>

namespace varnolex {

struct ParameterCase {
    std::string_view text;
    /// The configuration of the node, as JSON.
    std::string_view config;
};

/// A call or two for every row of the language's parameter table, and one where it could go wrong.
inline constexpr std::array parameterCases{
    ParameterCase{"in", R"({})"},
    ParameterCase{"in(virtual:true)", R"({"virtual":true})"},
    ParameterCase{"in(virtual:Stage Piano)", R"({"virtual":false})"},
    ParameterCase{"out(virtual:true, noteOffVel:true)", R"({"noteOffVelocity":true,"virtual":true})"},
    ParameterCase{"out(noteOffVel:yes)", R"({"noteOffVelocity":false})"},

    ParameterCase{"transpose", R"({"semitones":0})"},
    ParameterCase{"transpose(+7)", R"({"semitones":7})"},
    ParameterCase{"transpose(7)", R"({"semitones":7})"},
    ParameterCase{"Transpose( -12 , ch:3 )", R"({"fromChannel":3,"semitones":-12})"},
    ParameterCase{"transpose(semitones:5, fromChannel:999)", R"({"fromChannel":255,"semitones":5})"},
    ParameterCase{"transpose(an octave)", R"({"semitones":0})"},
    ParameterCase{"transpose(99999999999999999999)", R"({"semitones":0})"},
    ParameterCase{"transpose(5, name:\"Lead\", colour:red)", R"({"semitones":5})"},

    ParameterCase{"velmod", R"({"scalePercent":100})"},
    ParameterCase{"velocityMod(80)", R"({"scalePercent":80})"},
    ParameterCase{"velmod(scale:150, shift:-10, min:20, max:110)",
                  R"({"maxValue":110,"minValue":20,"scalePercent":150,"shiftValue":-10})"},

    ParameterCase{"scale(F#, Harmonic_Minor, down)", R"({"direction":1,"rootKey":6,"scaleType":2})"},
    ParameterCase{"scale(Bb, diminished, up)", R"({"rootKey":10,"scaleType":8})"},
    ParameterCase{"scale(b, lydian)", R"({})"},

    ParameterCase{"chord(m7b5)", R"({"preset":11})"},
    ParameterCase{"chord(sus24, noRoot:true)", R"({"preset":44,"suppressRoot":true})"},
    ParameterCase{"chord(Major)", R"({"preset":0})"},
    ParameterCase{"chord(major)", R"({})"},
    ParameterCase{"chord(CUSTOM)", R"({"preset":45})"},
    ParameterCase{"chord(custom:[3, 7, x, 14])", R"({"customIntervals":[3,7,14],"preset":45})"},
    ParameterCase{"chord(custom:5)", R"({"customIntervals":[5],"preset":45})"},
    ParameterCase{"chord(noRoot:true, Minor)", R"({"suppressRoot":true})"},

    ParameterCase{"arp", R"({"gatePercent":80,"ticksPerStep":12})"},
    ParameterCase{"arp(down-up, trip_1/8, gate:50, oct:3, latch:true)",
                  R"({"gatePercent":50,"latch":true,"octaveRange":3,"pattern":3,"ticksPerStep":8})"},
    ParameterCase{"arp(1/16, asplayed)", R"({"gatePercent":80,"pattern":5,"ticksPerStep":6})"},
    ParameterCase{"arp(up, 1/32)", R"({"gatePercent":80,"pattern":0,"ticksPerStep":12})"},

    ParameterCase{"split", R"({"splitKey":60})"},

    ParameterCase{"chfilter(1, 2, 16)", R"({"channelMask":32771})"},
    ParameterCase{"channelFilter", R"({})"},
    ParameterCase{"chfilter(0, 17)", R"({"channelMask":0})"},
    ParameterCase{"chrouter(1->2, 16 -> 1, 3->17)", R"({"channelMap":[1,1,2,3,4,5,6,7,8,9,10,11,12,13,14,0]})"},
    ParameterCase{"channelRouter(1->Synth)", R"({})"},

    ParameterCase{"filter", R"({"valVoiceMessages":63})"},
    ParameterCase{"filter(allow:Notes)", R"({"valVoiceMessages":1})"},
    ParameterCase{"filter(allow:notes, cc)", R"({"valVoiceMessages":1})"},
    ParameterCase{"filter(allow:[notes, cc, pitchbend])", R"({"valVoiceMessages":37})"},
    ParameterCase{"filter(block:cc, block:program)", R"({"valVoiceMessages":51})"},
    ParameterCase{"filter(allow:sysex)", R"({"valVoiceMessages":0})"},

    ParameterCase{"humanize(vel:8, time:15)", R"({"timingSpread":15,"velocitySpread":8})"},
    ParameterCase{"humanize(velocity:3)", R"({"timingSpread":20,"velocitySpread":3})"},
    ParameterCase{"smooth", R"({"slewMs":200,"threshold":5})"},
    ParameterCase{"smooth(500, threshold:2)", R"({"slewMs":500,"threshold":2})"},
    ParameterCase{"delay", R"({"delayMs":100})"},
    ParameterCase{"delay(250)", R"({"delayMs":250})"},
    ParameterCase{"clock", R"({"bpm":120.0})"},
    ParameterCase{"clock(98.5, start:true, stop:no)", R"({"bpm":98.5,"sendStart":true,"sendStop":false})"},
    ParameterCase{"timingclock(1e999)", R"({"bpm":120.0})"},
    ParameterCase{"clock(nan)", R"({"bpm":120.0})"},

    ParameterCase{"lfo", R"({"rateHz":1.0,"waveform":0})"},
    ParameterCase{"lfo(CC74, RevSaw, rate:0.25, sync:true, div:8, depth:20-100, triggered:true)",
                  R"({"clockDivision":8,"depthMax":100,"depthMin":20,"rateHz":0.25,"syncToMidiClock":true,)"
                  R"("targetCC":74,"triggeredMode":true,"waveform":4})"},
    ParameterCase{"lfo(CC1, wobble, sync:yes, div:1/4, depth:wide)",
                  R"({"clockDivision":4,"depthMax":127,"depthMin":0,"rateHz":1.0,"syncToMidiClock":false,)"
                  R"("targetCC":1,"waveform":0})"},

    ParameterCase{"threshold", R"({})"},
    ParameterCase{"threshold(above:80)", R"({"lowThreshold":80,"mode":0})"},
    ParameterCase{"threshold(above:x)", R"({"lowThreshold":64,"mode":0})"},
    ParameterCase{"threshold(below:x)", R"({"highThreshold":32,"mode":1})"},
    ParameterCase{"threshold(between:30..90, remap:0..64)",
                  R"({"highThreshold":90,"lowThreshold":30,"mode":2,"remapMax":64,"remapMin":0,"remapOutput":true})"},
    ParameterCase{"threshold(between:30,90)", R"({"highThreshold":90,"lowThreshold":30,"mode":2})"},
    ParameterCase{"threshold(outside:40..)", R"({"highThreshold":127,"lowThreshold":40,"mode":3})"},

    ParameterCase{"ccmap", R"({"scalePercent":100,"sourceCC":10})"},
    ParameterCase{"ccmap(1, 74, scale:50, range:10-100)",
                  R"({"destCC":74,"outputMax":100,"outputMin":10,"scalePercent":50,"sourceCC":1})"},
    ParameterCase{"ccmap(any, 11)", R"({"destCC":11,"scalePercent":100,"sourceCC":200})"},

    ParameterCase{"quantize", R"({"lookahead":50,"strength":100})"},
    ParameterCase{"quantize(dot_1/8, strength:70, lookahead:25)", R"({"gridIndex":5,"lookahead":25,"strength":70})"},
    ParameterCase{"roundrobin", R"({"poolSize":4})"},
    ParameterCase{"roundrobin(8, ch:3)", R"({"poolSize":8,"startChannel":2})"},
    ParameterCase{"roundrobin(ch:0)", R"({"poolSize":4,"startChannel":0})"},
    ParameterCase{"duplicate", R"({"velocityScale":100})"},
    ParameterCase{"duplicate(transpose:12, velocity:60, delay:250, ch:2)",
                  R"({"delayMs":250,"outputChannel":2,"transposeSteps":12,"velocityScale":60})"},

    ParameterCase{"mono(Highest)", R"({"mode":2})"},
    ParameterCase{"monophonic(first)", R"({})"},
    ParameterCase{"strum", R"({"spreadMs":50})"},
    ParameterCase{"strum(35, down)", R"({"direction":1,"spreadMs":35})"},
    ParameterCase{"curve(scurve, intensity:0.7, apply:velocity)", R"({"applyTo":0,"curveType":3,"intensity":0.7})"},
    ParameterCase{"curve(exp, 0.5, apply:CC)", R"({"applyTo":1,"curveType":2,"intensity":0.5})"},
    ParameterCase{"curve(bent, apply:both)", R"({"applyTo":2})"},
    ParameterCase{"duration(300)", R"({"durationMs":300})"},
    ParameterCase{"latch(exclusive:true)", R"({"exclusiveMode":true})"},
    ParameterCase{"randomizer(note:48-72, velocity:60-100)",
                  R"({"noteMax":72,"noteMin":48,"randomizeNote":true,"randomizeVelocity":true,"velocityMax":100,)"
                  R"("velocityMin":60})"},
    ParameterCase{"randomizer(cc:-24-24, pressure:300)",
                  R"({"ccValueMax":24,"ccValueMin":0,"pressureMax":127,"pressureMin":0,"randomizeCCValue":true,)"
                  R"("randomizePressure":true})"},

    ParameterCase{"convert(cc, pitchwheel, inputCC:1)", R"({"inputCC":1,"inputType":1,"outputCC":10,"outputType":4})"},
    ParameterCase{"eventConverter(note, cc, outputCC:74, duplicate:true)",
                  R"({"duplicate":true,"inputCC":10,"inputType":0,"outputCC":74,"outputType":1})"},
    ParameterCase{"set(note:F#3, vel:90, ch:3, program:12)",
                  R"({"channelValue":2,"noteValue":54,"onVelocityValue":90,"overrideChannel":true,"overrideNote":true,)"
                  R"("overrideOnVelocity":true,"overrideProgram":true,"programValue":12})"},
    ParameterCase{"set(note:H4, velocity:loud, channel:x)",
                  R"({"noteValue":60,"onVelocityValue":100,"overrideNote":true,"overrideOnVelocity":true})"},
    ParameterCase{"set(cc:7, value:64)", R"({"ccController":7,"ccValue":64,"overrideCCValue":true})"},
    ParameterCase{"set(note:C-1, channel:0)",
                  R"({"channelValue":0,"noteValue":0,"overrideChannel":true,"overrideNote":true})"},
    ParameterCase{"panic(trigger:CC(64))", R"({"triggerCC":64})"},
    ParameterCase{"panic(trigger:64)", R"({})"},

    ParameterCase{"ccsplit(1, dest:74, ch:3, invert:true, duplicate:true)",
                  R"({"channelValue":3,"destCC":74,"duplicateOriginal":true,"inverse":true,"setChannel":true,)"
                  R"("setController":true,"sourceCC":1})"},
    ParameterCase{"controlsplit(cc:7, limit:20-100, scale:0-64, inverse:false)",
                  R"({"inverse":false,"limitEnabled":true,"limitMax":100,"limitMin":20,"scaleEnabled":true,)"
                  R"("scaleMax":64,"scaleMin":0,"sourceCC":7})"},
    ParameterCase{
        "patchmap(0->5)",
        R"({"mapTable":[5,1,2,3,4,5,6,7,8,9,10,11,12,13,14,15,16,17,18,19,20,21,22,23,24,25,26,27,28,29,30,31,)"
        R"(32,33,34,35,36,37,38,39,40,41,42,43,44,45,46,47,48,49,50,51,52,53,54,55,56,57,58,59,60,61,62,63,)"
        R"(64,65,66,67,68,69,70,71,72,73,74,75,76,77,78,79,80,81,82,83,84,85,86,87,88,89,90,91,92,93,94,95,)"
        R"(96,97,98,99,100,101,102,103,104,105,106,107,108,109,110,111,112,113,114,115,116,117,118,119,120,)"
        R"(121,122,123,124,125,126,127]})"},
    ParameterCase{"generator(4 bars) { cc(1, 2) }", R"({})"},
    ParameterCase{"script(language:lua)", R"({})"},
};

}  // namespace varnolex
