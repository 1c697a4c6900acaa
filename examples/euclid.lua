-- Plays the held keys in a euclidean rhythm: five hits spread evenly over eight sixteenth notes of the MIDI clock.
local hits, steps, ticksPerStep = 5, 8, 6
local held, tick = {}, 0

local function play()
    for note = 0, 127 do
        if held[note] then
            send { 0x90 | held[note].channel, note, held[note].data2 }
            delay(60, { 0x80 | held[note].channel, note, 0 })
        end
    end
end

function onLoad()
    setLabel(hits .. " of " .. steps)
end

function onMessage(msg)
    if msg.type == 0x90 then
        held[msg.data1] = msg
        block()
    elseif msg.type == 0x80 then
        held[msg.data1] = nil
        block()
    elseif msg.status == 0xFA then
        tick = 0
    elseif msg.status == 0xF8 then
        local step = tick // ticksPerStep % steps
        if tick % ticksPerStep == 0 and step * hits % steps < hits then play() end
        tick = tick + 1
    end
end
