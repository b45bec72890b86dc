-- Quicksort and heapsort, written in the script.
local function random_list(n)
    local list = {}
    local seed = 42
    for i = 1, n do
        seed = (seed * 1103515245 + 12345) % 2147483648
        list[i] = seed % 1000000
    end
    return list
end
local function quicksort(list, low, high)
    while low < high do
        local pivot = list[(low + high) // 2]
        local i, j = low, high
        while i <= j do
            while list[i] < pivot do i = i + 1 end
            while list[j] > pivot do j = j - 1 end
            if i <= j then
                list[i], list[j] = list[j], list[i]
                i, j = i + 1, j - 1
            end
        end
        if j - low < high - i then
            quicksort(list, low, j)
            low = i
        else
            quicksort(list, i, high)
            high = j
        end
    end
end
local function sift(list, root, stop)
    local value = list[root]
    while root * 2 <= stop do
        local child = root * 2
        if child + 1 <= stop and list[child] < list[child + 1] then child = child + 1 end
        if value >= list[child] then break end
        list[root] = list[child]
        root = child
    end
    list[root] = value
end
local function heapsort(list)
    local size = #list
    for i = size // 2, 1, -1 do sift(list, i, size) end
    for stop = size, 2, -1 do
        list[1], list[stop] = list[stop], list[1]
        sift(list, 1, stop - 1)
    end
end
local function checksum(list)
    local sum = 0
    for i = 1, #list do sum = (sum * 31 + list[i]) % 1000000007 end
    return sum
end
local a = random_list(450000)
quicksort(a, 1, #a)
local b = random_list(250000)
heapsort(b)
print(checksum(a) .. " " .. checksum(b))
