#!/usr/bin/env bash
# The floors of the house, judged by the includes: a unit includes only units below it, a room of kv7go only rooms below
# it, and a header of include/ never one of source/.
#
# usage: floors.sh ROOT     prints each include that runs another way; fails when there is one
set -euo pipefail
cd "$1"
shopt -s nullglob
house=(Platform/*/ Units/*/ Apps/)

{
    find "${house[@]}" -type f -regex '.*\.\(h\|hpp\|def\|c\|cpp\)' | sed 's/^/file:/'
    grep -rnE '^[[:space:]]*#[[:space:]]*include[[:space:]]*["<]' \
        --include='*.h' --include='*.hpp' --include='*.c' --include='*.cpp' "${house[@]}" | sed 's/^/line:/'
} | awk -F: '
    BEGIN {
        # Lowest first; what shares a floor shares a line. Units of one floor do not see each other, rooms do.
        split("Z9Sys|kv7base|kv7go|kv7PosCalcLib kv7ordmanLib|kv7DomainObjects|QuindalIM|Apps", floors, "|")
        for (i = 1; i in floors; i++) Place(floors[i], i, floor_of_unit)
        split("grids|instruments valuation|kernels|nodes|book|replica", floors, "|")
        for (i = 1; i in floors; i++) Place(floors[i], i, floor_of_room)
    }
    function Place(names, number, floor_of,    list, i) {
        split(names, list, " ")
        for (i in list) floor_of[list[i]] = number
    }
    function UnitOf(path,    part) { split(path, part, "/"); return part[1] == "Apps" ? "Apps" : part[2] }
    function SideOf(path,    part) { split(path, part, "/"); return part[1] == "Apps" ? "" : part[3] }
    function RoomOf(path,    part) { split(path, part, "/"); return part[2] == "kv7go" ? part[4] : "" }
    # The path of a name that is written beside a file.
    function Beside(from, name) {
        sub(/[^\/]*$/, name, from)
        while (sub(/[^\/]+\/\.\.\//, "", from)) {}
        return from
    }
    function Tell(place, text) { print place ": " text; offences++ }

    # A header answers inside its unit to its path and to each end of it, outside its unit to its path below include/.
    function Register(path,    unit, name) {
        unit = UnitOf(path)
        known[path]
        for (name = path; sub(/^[^\/]*\//, "", name);)
            if (!((unit, name) in own)) own[unit, name] = path
        if (SideOf(path) != "include") return
        name = path
        sub(/^[^\/]*\/[^\/]*\/include\//, "", name)
        if (name in offered) Tell(path, "offered by two units, see " offered[name])
        offered[name] = path
    }
    function Resolve(from, name) {
        if (Beside(from, name) in known) return Beside(from, name)
        if ((UnitOf(from), name) in own) return own[UnitOf(from), name]
        return name in offered ? offered[name] : ""
    }
    function Judge(place, from, to,    unit, other) {
        unit = UnitOf(from)
        other = UnitOf(to)
        if (unit != other) {
            if (floor_of_unit[other] >= floor_of_unit[unit])
                Tell(place, unit " includes " to ", and " other " does not stand below it")
            return
        }
        if (SideOf(from) == "include" && SideOf(to) == "source")
            Tell(place, "a header of include/ includes " to ", which its readers do not have")
        if (floor_of_room[RoomOf(to)] > floor_of_room[RoomOf(from)])
            Tell(place, RoomOf(from) " includes " to ", and " RoomOf(to) " stands above it")
    }

    $1 == "file" {
        if (!(UnitOf($2) in floor_of_unit)) Tell($2, "a unit without a floor")
        if (UnitOf($2) == "kv7go" && !(RoomOf($2) in floor_of_room)) Tell($2, "stands in no room of kv7go")
        Register($2)
        next
    }
    {
        place = $2 ":" $3
        line = substr($0, length($1 FS place FS) + 1)
        match(line, /["<][^">]*/)
        to = Resolve($2, substr(line, RSTART + 1, RLENGTH - 1))
        if (to != "") {
            count++
            Judge(place, $2, to)
        } else if (substr(line, RSTART, 1) == "\"")
            Tell(place, "no header of this unit or of a unit below it: " substr(line, RSTART))
    }
    END {
        if (!count) Tell("floors.sh", "no include found")
        print count " includes of the house, " offences + 0 " against the floors"
        exit offences != 0
    }'
