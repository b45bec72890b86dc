-- Members of instances, read and written from outside and from inside.
local function particle(x, y, vx, vy)
    return {x = x, y = y, vx = vx, vy = vy, bounces = 0}
end
local function step(p)
    p.x = p.x + p.vx
    p.y = p.y + p.vy
    if p.x < 0 or p.x > 1000 then
        p.vx = -p.vx
        p.bounces = p.bounces + 1
    end
    if p.y < 0 or p.y > 1000 then
        p.vy = -p.vy
        p.bounces = p.bounces + 1
    end
end
local function run(rounds)
    local all = {}
    for i = 0, 99 do all[#all + 1] = particle(i * 7, i * 3, i % 11 + 1, i % 5 + 1) end
    for _ = 1, rounds do
        for i = 1, 100 do step(all[i]) end
    end
    local sum = 0
    for i = 1, 100 do
        local p = all[i]
        sum = sum + p.x * 31 + p.y * 17 + p.bounces
    end
    return sum
end
print(run(60000))
