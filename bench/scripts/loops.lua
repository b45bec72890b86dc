-- Nested counting loops and whole-number arithmetic.
local function run(n)
    local sum = 0
    for i = 1, n do
        for j = 1, n do
            if (i + j) % 3 == 0 then
                sum = sum + i * j % 7
            else
                sum = sum - j + i
            end
        end
    end
    local steps = 0
    for round = 0, 7999 do
        local x = 837799 + round
        while x ~= 1 do
            if x % 2 == 0 then x = x // 2 else x = 3 * x + 1 end
            steps = steps + 1
        end
    end
    return sum + steps
end
print(run(5000))
