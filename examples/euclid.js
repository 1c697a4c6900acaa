// Gives each held key a euclidean rhythm of its own: the lowest has two hits in twelve sixteenth notes of the MIDI
// clock, and each one above it one more. The first step of the round is accented.
const steps = 12;
const ticksPerStep = 6;
const held = new Map();
let tick = 0;

const isHit = (step, hits) => (step * hits) % steps < hits;

function play(step) {
    const notes = [...held.keys()].sort((low, high) => low - high);
    notes.forEach((note, voice) => {
        if (!isHit(step, Math.min(voice + 2, steps))) return;
        const { channel, data2 } = held.get(note);
        send([0x90 | channel, note, step === 0 ? 127 : data2]);
        delay(60, [0x80 | channel, note, 0]);
    });
}

function onLoad() {
    setLabel(`rounds of ${steps}`);
}

function onMessage(msg) {
    if (msg.type === 0x90) {
        held.set(msg.data1, msg);
        block();
    } else if (msg.type === 0x80) {
        held.delete(msg.data1);
        block();
    } else if (msg.status === 0xFA) {
        tick = 0;
    } else if (msg.status === 0xF8) {
        if (tick % ticksPerStep === 0) play((tick / ticksPerStep) % steps);
        ++tick;
    }
}
