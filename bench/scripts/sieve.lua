-- Primes by crossing out.
local function sieve(n)
    local crossed = {}
    for i = 0, n do crossed[i] = false end
    local count = 0
    for i = 2, n do
        if not crossed[i] then
            count = count + 1
            for j = i + i, n, i do crossed[j] = true end
        end
    end
    return count
end
local function run(rounds)
    local sum = 0
    for round = 0, rounds - 1 do sum = sum + sieve(200000 + round) end
    return sum
end
print(run(60))
