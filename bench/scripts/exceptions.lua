-- Errors raised and caught, near and through several calls, and blocks in which none is raised.
local function check(i)
    if i % 4 == 0 then error("fourth", 0) end
    return i
end
local function outer(i) return check(i) + 1 end
local function attempt(i)
    local ok, result = pcall(outer, i)
    if ok then return result end
    return #result
end
local function run(n)
    local sum = 0
    for i = 0, n - 1 do sum = sum + attempt(i) end
    return sum
end
print(run(4000000))
