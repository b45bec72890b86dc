-- The planets' dance: floats in members of tables.
local sqrt = math.sqrt
local pi = 3.141592653589793
local solar_mass = 4 * pi * pi
local days = 365.24
local function body(x, y, z, vx, vy, vz, mass)
    return {x = x, y = y, z = z, vx = vx * days, vy = vy * days, vz = vz * days,
            mass = mass * solar_mass}
end
local function advance(bodies, count, dt)
    for i = 1, count do
        local a = bodies[i]
        for j = i + 1, count do
            local b = bodies[j]
            local dx = a.x - b.x
            local dy = a.y - b.y
            local dz = a.z - b.z
            local d2 = dx * dx + dy * dy + dz * dz
            local mag = dt / (d2 * sqrt(d2))
            local bm = b.mass * mag
            a.vx = a.vx - dx * bm
            a.vy = a.vy - dy * bm
            a.vz = a.vz - dz * bm
            local am = a.mass * mag
            b.vx = b.vx + dx * am
            b.vy = b.vy + dy * am
            b.vz = b.vz + dz * am
        end
    end
    for i = 1, count do
        local a = bodies[i]
        a.x = a.x + dt * a.vx
        a.y = a.y + dt * a.vy
        a.z = a.z + dt * a.vz
    end
end
local function energy(bodies, count)
    local e = 0.0
    for i = 1, count do
        local a = bodies[i]
        e = e + 0.5 * a.mass * (a.vx * a.vx + a.vy * a.vy + a.vz * a.vz)
        for j = i + 1, count do
            local b = bodies[j]
            local dx = a.x - b.x
            local dy = a.y - b.y
            local dz = a.z - b.z
            e = e - a.mass * b.mass / sqrt(dx * dx + dy * dy + dz * dz)
        end
    end
    return e
end
local function offset_momentum(bodies, count)
    local px, py, pz = 0.0, 0.0, 0.0
    for i = 1, count do
        local b = bodies[i]
        px = px + b.vx * b.mass
        py = py + b.vy * b.mass
        pz = pz + b.vz * b.mass
    end
    local sun = bodies[1]
    sun.vx = -px / solar_mass
    sun.vy = -py / solar_mass
    sun.vz = -pz / solar_mass
end
local function run(steps)
    local bodies = {
        body(0.0, 0.0, 0.0, 0.0, 0.0, 0.0, 1.0),
        body(4.84143144246472090, -1.16032004402742839, -0.103622044471123109,
             0.00166007664274403694, 0.00769901118419740425, -0.0000690460016972063023,
             0.000954791938424326609),
        body(8.34336671824457987, 4.12479856412430479, -0.403523417114321381,
             -0.00276742510726411188, 0.00499852801234917238, 0.0000230417297573763929,
             0.000285885980666130812),
        body(12.8943695621391310, -15.1111514016986312, -0.223307578892655734,
             0.00296460137564761618, 0.00237847173959480950, -0.0000296589568540237556,
             0.0000436624404335156298),
        body(15.3796971148509165, -25.9193146099879641, 0.179258772950371181,
             0.00268067772490389322, 0.00162824170038242295, -0.0000951592254519715870,
             0.0000515138902046611451),
    }
    local count = #bodies
    offset_momentum(bodies, count)
    print(string.format("%f", energy(bodies, count)))
    for _ = 1, steps do advance(bodies, count, 0.01) end
    print(string.format("%f", energy(bodies, count)))
end
run(240000)
