-- Queens on a board, by trying and going back.
local function place(row, n, columns, falling, rising)
    if row == n then return 1 end
    local found = 0
    for c = 0, n - 1 do
        if not (columns[c] or falling[row + c] or rising[row - c + n]) then
            columns[c] = true
            falling[row + c] = true
            rising[row - c + n] = true
            found = found + place(row + 1, n, columns, falling, rising)
            columns[c] = false
            falling[row + c] = false
            rising[row - c + n] = false
        end
    end
    return found
end
local function falses(n)
    local list = {}
    for i = 0, n - 1 do list[i] = false end
    return list
end
local function run(n) return place(0, n, falses(n), falses(2 * n), falses(2 * n + 1)) end
print(run(10) .. " " .. run(11) .. " " .. run(12))
