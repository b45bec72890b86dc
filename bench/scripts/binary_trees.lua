-- Many small tables, made and dropped.
local function make(depth)
    if depth == 0 then return {left = nil, right = nil} end
    return {left = make(depth - 1), right = make(depth - 1)}
end
local function count(tree)
    if tree.left == nil then return 1 end
    return 1 + count(tree.left) + count(tree.right)
end
local function run(depth)
    local kept = make(depth)
    local sum = 0
    for d = 4, depth, 4 do
        local turns = 1
        for _ = 1, depth - d do turns = turns * 2 end
        for _ = 1, turns do sum = sum + count(make(d)) end
    end
    return sum + count(kept)
end
print(run(18))
