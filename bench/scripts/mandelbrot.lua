-- Float arithmetic in local variables.
local function run(size, limit)
    local inside, sum = 0, 0
    for py = 0, size - 1 do
        local ci = 2.0 * py / size - 1.0
        for px = 0, size - 1 do
            local cr = 2.0 * px / size - 1.5
            local zr, zi, zr2, zi2 = 0.0, 0.0, 0.0, 0.0
            local n = 0
            while n < limit and zr2 + zi2 <= 4.0 do
                zi = 2.0 * zr * zi + ci
                zr = zr2 - zi2 + cr
                zr2 = zr * zr
                zi2 = zi * zi
                n = n + 1
            end
            if n == limit then inside = inside + 1 end
            sum = sum + n
        end
    end
    return inside .. " " .. sum
end
print(run(600, 100))
