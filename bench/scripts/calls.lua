-- Calls with several arguments, of functions, of functions given as values, and of callbacks.
local function add(a, b, c) return a + b - c end
local function clamp(x, low, high)
    if x < low then return low end
    if x > high then return high end
    return x
end
local function twice(f, x) return f(f(x)) end
local function step(x) return clamp(x + 3, 0, 1000000) end
local function run(n)
    local sum = 0
    for i = 0, n - 1 do
        sum = add(sum, i, sum // 2)
        sum = sum + clamp(i, 100, 1000) + twice(step, i)
    end
    return sum
end
print(run(3500000))
