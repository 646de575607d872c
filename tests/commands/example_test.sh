#!/usr/bin/env bash
# Runs the example program as its users do: example_test.sh PROGRAM PROJECT_ROOT
set -euo pipefail
program=$1
root=$2
stations=$root/data/stations.json
work=$(mktemp -d)
trap 'rm -rf "$work"' EXIT
cd "$work"
failures=0

complain() {
    echo "FAILED: $*" >&2
    failures=$((failures + 1))
}

# prints PATTERN... -- ARGUMENT...: succeeds, silent on stderr, with a line for every pattern.
prints() {
    local patterns=() pattern
    while [ "$1" != -- ]; do
        patterns+=("$1")
        shift
    done
    shift
    if ! "$program" "$@" >out 2>err || [ -s err ]; then
        complain "$*: $(cat err)"
        return
    fi
    for pattern in "${patterns[@]}"; do
        grep -qxE -- "$pattern" out || complain "$*: no line '$pattern' in: $(head -c 4000 out)"
    done
}

# refuses PATTERN ARGUMENT...: status 1, exactly one line on stderr, and it matches.
refuses() {
    local pattern=$1 status=0
    shift
    "$program" "$@" >out 2>err || status=$?
    if [ "$status" -ne 1 ] || [ "$(wc -l <err)" -ne 1 ] || ! grep -qxE -- "jsontree: $pattern" err
    then
        complain "$*: status $status, stderr: $(cat err)"
    fi
}

same() {
    [ "$1" = "$2" ] || complain "'$1' is not '$2'"
}

cat >small.json <<'JSON'
{"a":[1,2.5,null],"rows":[{"x":1,"tags":["p","q"]},{"x":9007199254740993,"y":-9007199254740993},
{"x":"no number","tags":[],"a/b~":true}],"\u001b[31m":"deep\u0007","d":[[[["bottom"]]]]}
JSON

# The tree, and what is cut off it.
prints '.*stations.json: object, 6 members' '.*stations: array, 2,400 elements: 2,400 object' \
    '.*id: integer 10807754105756878474 \(uint64\)' \
    '.*clock_offset_ns: integer -2256838824645818089 \(int64\)' \
    '.*name: string, 4 characters "부산 2"' '.*└─ … 2,397 more' -- "$stations"
prints 'small.json: object, 4 members' '.*a: array, 3 elements: 1 null, 2 number' \
    '.*\\u001B\[31m: string, 5 characters "deep\\u0007"' -- show small.json --depth 1
! "$program" show small.json --depth 3 | grep bottom >/dev/null || complain "--depth goes too deep"
prints '.*\[0\]: integer 1' '.*\[1\]: number 2.5' -- show small.json --depth 2
prints '.*bottom".*' -- show small.json --depth 5
prints '.*a/b~: true' -- small.json --select /rows/2
prints true -- small.json --select '/rows/2/a~1b~0' --compact

# Values as JSON, to the screen and into a file; text comes back byte for byte.
prints '\[1,2.5,null\]' -- small.json --select /a --compact
prints '  2.5,' -- small.json --select=/a --pretty
prints -- small.json --output out.json --pretty
"$program" small.json --compact >direct.json
"$program" out.json --compact >again.json
cmp direct.json again.json || complain "a pretty file reads back as something else"
printf '[1, // one\n NaN,]' >loose.json
refuses "loose.json:1:5: .*" loose.json
prints '\[1,NaN\]' -- --allow-comments --allow-nan --allow-trailing-commas loose.json --compact

# Copies by lists.
prints '.*37,317 levels, .*' 'The copy equals the original in all 177,270 values; .*' \
    'A copy of the copy is byte for byte the copy.' -- copy "$stations" --output copy.json
prints '.* 0 integers that .*' -- copy copy.json
prints '.*' -- copy loose.json --allow-comments --allow-nan --allow-trailing-commas

# Columns: hits and misses, mixed types, edits.
prints 'small.json /rows: 3 records' 'x +double 1 +uint64 9007199254740993 +"no number"' \
    'y +- +int64 -9007199254740993 +-' 'a/b~ +- +- +true' \
    '/tags: 2 found, 1 missing: lists of text \["p","q"\], \[\]' '/tags/1: 1 found, 2 missing: text "q"' \
    '/x: 3 found, 0 missing: JSON 1, 9007199254740993, "no number"' \
    -- columns small.json --records /rows --column /tags --column /tags/1 --column /x
prints 'small.json: 4 records' '/none: 0 found, 4 missing' -- columns small.json --records= --column /none
prints 'scaled 2 numbers' '/labels: 2 arrays with 2 elements in all' 'keys: X, labels, y, a/b~' \
    'resized to 1 element each: 2 arrays with 2 elements in all' \
    -- columns small.json --records /rows --set scale:/x=0.5 --set rename:x=X,tags=labels \
    --set resize:/labels=1 --output edited.json
same "$("$program" edited.json --select /rows --compact)" \
    '[{"X":0.5,"labels":["p"]},{"X":4503599627370496.0,"y":-9007199254740993},{"X":"no number","labels":[null],"a/b~":true}]'
same "$("$program" edited.json --select /d --compact)" '[[[["bottom"]]]]'
prints '/position/depth_m: 2,[0-9]+ found, [0-9]+ missing: int64 1712, .*' \
    -- columns "$stations" --records /stations --column /position/depth_m

# Tables: what a reader of CSV makes of one is what stands in the lines, and in the data.
prints '.*: 2,400 records' '/name: .*' -- columns "$stations" --records /stations \
    --column /name --column /position/depth_m --column /id --column /sensors --column /active \
    --csv table.csv --json-lines table.jsonl
printf '{"a,\\"b":"x,\\r\\n\\"y\\"","c":[1,null]}\n\n{"a,\\"b":"","c":null}\r\n{}' >odd.jsonl
prints 'odd.jsonl: 3 records' -- columns odd.jsonl --lines --column '/a,"b' --column /c \
    --csv odd.csv --json-lines again.jsonl
python3 - "$stations" <<'PYTHON' || complain "a table reads back as something else"
import csv, json, sys

def rows(path):
    with open(path, encoding="utf-8", newline="") as file:
        return list(csv.DictReader(file, strict=True))

with open(sys.argv[1], encoding="utf-8") as file:
    stations = json.load(file)["stations"]
with open("table.jsonl", encoding="utf-8") as file:
    lines = [json.loads(line) for line in file]
table = rows("table.csv")
assert len(table) == len(lines) == len(stations) == 2400
for cells, line, station in zip(table, lines, stations):
    station = {**station, "position/depth_m": station["position"].get("depth_m")}
    for name, cell in cells.items():
        value = station.get(name)
        assert line.get(name) == value, (name, line, value)
        if not isinstance(value, str):
            assert (json.loads(cell) if cell else None) == value, (name, cell, value)
        else:
            assert cell == value, (name, cell, value)
odd = rows("odd.csv")
assert odd == [{'a,"b': 'x,\r\n"y"', "c": "[1,null]"}, {'a,"b': "", "c": ""},
               {'a,"b': "", "c": ""}], odd
with open("again.jsonl", encoding="utf-8") as file:
    assert [json.loads(line) for line in file] == [
        {'a,"b': 'x,\r\n"y"', "c": [1, None]}, {'a,"b': "", "c": None}, {}]
PYTHON

# Whatever is wrong: one line, status 1, and no file harmed.
printf '{"a":1,\n"b":}' >bad.json
refuses "bad.json:2:5: .*" bad.json
refuses ".*missing.json.*: No such file or directory" missing.json
refuses ".*: Is a directory" .
refuses ".*two.u000Alines.json.*: No such file or directory" $'two\nlines.json'
refuses "nothing in the document at '/rows/9'" small.json --select /rows/9
refuses "'rows' is not a JSON Pointer .*" small.json --select rows
refuses "unknown option '--frobnicate'; see --help" small.json --frobnicate
refuses "option '--select' lacks its value" small.json --select
refuses "--depth takes a whole number .*" small.json --depth -1
refuses "either --pretty or --compact" small.json --pretty --compact
refuses "which FILE.*"
refuses "one FILE at a time: .*" small.json small.json
refuses ".*/dev/full.*: No space left on device" small.json --output /dev/full
refuses ".*no/such/folder.*" copy small.json --output no/such/folder/x.json
refuses ".*which --records.*" columns small.json
refuses "small.json: no records at '/none', there is nothing" columns small.json --records /none
refuses "small.json: no records at '/rows/0/x', what .*" columns small.json --records /rows/0/x
refuses "nothing in the document at '/none'" columns small.json --records /none --output edited.json
refuses "no array of records at '/rows/0/x'" columns small.json --records /rows/0/x --output edited.json
refuses "--lines does not go with .*" columns small.json --lines --output edited.json
refuses "columns: which --column .*" columns small.json --lines --csv table.csv
refuses "small.json:1:[0-9]+: unexpected end of line, .*, record 0.*" columns small.json --lines
refuses '.*not a JSON Pointer: "rows".*' columns small.json --records rows
refuses '.*not a JSON Pointer: "x".*' columns small.json --records /rows --column x
refuses "--set: 'grow:/x=2' is not a .*" columns small.json --records /rows --set grow:/x=2
refuses "--set scale: takes a number, not 'much'" columns small.json --records /rows --set scale:/x=much
refuses ".*leaves the range of a double" columns small.json --records /rows --set scale:/x=1e300 \
    --set scale:/x=1e300 --output edited.json
refuses ".*more children than memory can hold" columns small.json --records /rows \
    --set resize:/tags=18446744073709551615 --output edited.json
same "$("$program" edited.json --select /rows/0 --compact)" '{"X":0.5,"labels":["p"]}'

# A reader that leaves early is not an error worth a message.
{ "$program" "$stations" --pretty 2>err || true; } | head -n 1 >/dev/null
[ ! -s err ] || complain "a broken pipe says: $(cat err)"
status=0
"$program" small.json >/dev/full 2>err || status=$?
same "$status $(cat err)" "1 jsontree: cannot write to the standard output: No space left on device"

prints '.*--records POINTER.*' -- --help

# What helps to use it knows every option.
completion=$root/examples/jsontree/completion.bash
for option in $("$program" --help | grep -oE -- '--[a-z-]+' | sort -u); do
    sed 's/\\-/-/g' "$root/docs/jsontree.1.in" | grep -qE -- "$option\b" || complain "$option: not in the manual"
    grep -qE -- "$option\b" "$completion" || complain "$option: not in the completion"
done
# completes EXPECTED WORD...: what bash offers for the last word, in order.
completes() {
    local expected=$1
    shift
    same "$(bash -c 'source "$0" && COMP_WORDS=(jsontree "$@") COMP_CWORD=$# && _jsontree 2>&1 &&
        echo "${COMPREPLY[*]}"' "$completion" "$@")" "$expected"
}
completes "columns" col
completes "--records" columns --r
completes "--select" --se
completes "scale: rename: resize:" columns --set ""
completes "small.json" show sm
completes "small.json" copy --output = sm
exit $((failures > 0))
