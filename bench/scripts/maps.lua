-- Maps with text keys: counted, looked up, read by name.
local function run(rounds)
    local keys = {}
    for i = 0, 999 do keys[i] = "key" .. i end
    local counts = {}
    local sum = 0
    for round = 0, rounds - 1 do
        for i = 0, 999 do
            local k = keys[i * 7 % 1000]
            counts[k] = (counts[k] or 0) + round
        end
        local entry = {name = "entry", size = round, level = 2}
        entry.size = entry.size + entry.level
        entry.peak = entry.size * 2
        sum = sum + entry.size + entry.peak
        for i = 0, 999, 3 do sum = sum + counts["key" .. i] end
    end
    return sum
end
print(run(7000))
