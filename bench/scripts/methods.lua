-- Methods of classes, virtual and inherited.
local toggle = {}
toggle.__index = toggle
function toggle.new(start)
    return setmetatable({state = start}, toggle)
end
function toggle:value() return self.state end
function toggle:activate()
    self.state = 1 - self.state
    return self
end

local nth_toggle = setmetatable({}, {__index = toggle})
nth_toggle.__index = nth_toggle
function nth_toggle.new(start, max)
    local made = toggle.new(start)
    made.max = max
    made.counter = 0
    return setmetatable(made, nth_toggle)
end
function nth_toggle:activate()
    self.counter = self.counter + 1
    if self.counter >= self.max then
        self.state = 1 - self.state
        self.counter = 0
    end
    return self
end

local function run(n)
    local ons = 0
    local a = toggle.new(1)
    local b = nth_toggle.new(1, 3)
    for _ = 1, n do
        ons = ons + a:activate():value()
        ons = ons + b:activate():value()
        ons = ons + a:value() + b:value()
    end
    return ons
end
print(run(2000000))
