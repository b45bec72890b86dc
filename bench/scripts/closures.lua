-- Functions that carry values of where they were made.
local function adder(n) return function(x) return x + n end end
local function compose(f, g) return function(x) return f(g(x)) end end
local function accumulator()
    local sum = 0
    return function(x)
        sum = sum + x
        return sum
    end
end
local function run(n)
    local add = accumulator()
    local last = 0
    for i = 0, n - 1 do
        local f = compose(adder(i), adder(3))
        last = add(f(i) % 1000)
    end
    return last
end
print(run(1400000))
