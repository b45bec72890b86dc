-- Lists: filled, walked, changed in place, nested.
local function fill(n)
    local list = {}
    for i = 0, n - 1 do list[#list + 1] = i * 7 % 1000 end
    return list
end
local function reverse(list)
    local low, high = 1, #list
    while low < high do
        list[low], list[high] = list[high], list[low]
        low, high = low + 1, high - 1
    end
end
local function matrix(n)
    local rows = {}
    for i = 0, n - 1 do
        local row = {}
        for j = 0, n - 1 do row[#row + 1] = i + j end
        rows[#rows + 1] = row
    end
    return rows
end
local function multiply(a, b, n)
    local sum = 0
    for i = 1, n do
        local row = a[i]
        for j = 1, n do
            local cell = 0
            for k = 1, n do cell = cell + row[k] * b[k][j] end
            sum = sum + cell % 10
        end
    end
    return sum
end
local function run(rounds)
    local sum = 0
    for _ = 1, rounds do
        local list = fill(20000)
        reverse(list)
        for i = 1, #list do sum = sum + list[i] * ((i - 1) & 3) end
    end
    return sum + multiply(matrix(150), matrix(150), 150)
end
print(run(400))
