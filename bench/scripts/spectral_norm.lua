-- Float arithmetic in nested loops over lists.
local function a(i, j)
    local ij = i + j
    return 1.0 / (ij * (ij + 1) // 2 + i + 1)
end
local function multiply_av(n, v, av)
    for i = 0, n - 1 do
        local sum = 0.0
        for j = 0, n - 1 do sum = sum + a(i, j) * v[j + 1] end
        av[i + 1] = sum
    end
end
local function multiply_atv(n, v, atv)
    for i = 0, n - 1 do
        local sum = 0.0
        for j = 0, n - 1 do sum = sum + a(j, i) * v[j + 1] end
        atv[i + 1] = sum
    end
end
local function run(n)
    local u, v, t = {}, {}, {}
    for i = 1, n do u[i], v[i], t[i] = 1.0, 0.0, 0.0 end
    for _ = 1, 10 do
        multiply_av(n, u, t)
        multiply_atv(n, t, v)
        multiply_av(n, v, t)
        multiply_atv(n, t, u)
    end
    local vbv, vv = 0.0, 0.0
    for i = 1, n do
        vbv = vbv + u[i] * v[i]
        vv = vv + v[i] * v[i]
    end
    return math.sqrt(vbv / vv)
end
print(string.format("%f", run(520)))
