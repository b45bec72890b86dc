-- Text built piece by piece, taken apart by character, compared.
local function line_of(i)
    local line = "line " .. i .. ":"
    for j = 0, 9 do line = line .. " " .. (i * j % 97) end
    return line
end
local function count_digits(text)
    local n = 0
    for k = 1, #text do
        local c = text:sub(k, k)
        if c >= "0" and c <= "9" then n = n + 1 end
    end
    return n
end
local function run(n)
    local digits, same, total = 0, 0, 0
    local last = ""
    for i = 0, n - 1 do
        local line = line_of(i % 500)
        if line == last then same = same + 1 end
        last = line_of(i % 250)
        total = total + #line
        if i % 10 == 0 then digits = digits + count_digits(line) end
    end
    return total + digits + same
end
print(run(100000))
