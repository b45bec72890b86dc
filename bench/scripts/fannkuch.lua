-- Permutations of a small list, flipped in place.
local function fannkuch(n)
    local p, q, s = {}, {}, {}
    for i = 0, n - 1 do p[i], q[i], s[i] = i, i, i end
    local sign, most, sum = 1, 0, 0
    while true do
        local first = p[0]
        if first ~= 0 then
            for i = 1, n - 1 do q[i] = p[i] end
            local flips = 1
            while true do
                local next = q[first]
                if next == 0 then break end
                q[first] = first
                if first >= 3 then
                    local i, j = 1, first - 1
                    while i < j do
                        q[i], q[j] = q[j], q[i]
                        i, j = i + 1, j - 1
                    end
                end
                first = next
                flips = flips + 1
            end
            if flips > most then most = flips end
            sum = sum + sign * flips
        end
        if sign == 1 then
            p[0], p[1] = p[1], p[0]
            sign = -1
        else
            p[1], p[2] = p[2], p[1]
            sign = 1
            for i = 2, n - 1 do
                local turn = s[i]
                if turn ~= 0 then
                    s[i] = turn - 1
                    break
                end
                if i == n - 1 then return sum, most end
                s[i] = i
                local front = p[0]
                for j = 0, i do p[j] = p[j + 1] end
                p[i + 1] = front
            end
        end
    end
end
local function run(rounds)
    local total = 0
    for _ = 1, rounds do
        local sum, most = fannkuch(9)
        total = total + sum * most
    end
    return total
end
print(run(3))
