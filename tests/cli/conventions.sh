#!/usr/bin/env bash
# The command-line tool's conventions, run as a user runs it: the manual page
# made from --help, shell completion, -q, -V, bare autocount, --recursive in
# natural order, the output suffixes, and a dumb terminal.
#   conventions.sh PROGRAM COMPLETION MANPAGE SCRATCH
set -u
program=$1 completion=$2 manpage=$3 scratch=$4
failures=0
check() { # check "what" command...
    local what=$1
    shift
    if "$@"; then echo "ok: $what"; else echo "FAILED: $what"; failures=$((failures + 1)); fi
}
rm -rf "$scratch" && mkdir -p "$scratch/batch/sub" && cd "$scratch" || exit 1
export QT_QPA_PLATFORM=offscreen

# Bare autocount prints the help; -V the version.
check "bare autocount prints the help" bash -c "'$program' | grep -q -- '--recursive'"
check "-V prints the version" bash -c "'$program' -V | grep -qE '^autocount [0-9]+\.[0-9]+'"

# The manual page lists the options.
if [ -f "$manpage" ]; then
    check "the manual page names --jobs" zgrep -q -- 'jobs' "$manpage"
fi

# Completion offers the options the program has.
check "bash completion completes --jo to --jobs" bash -c "
    source '$completion'
    COMP_WORDS=('$program' count --jo); COMP_CWORD=2; _autocount
    [[ \" \${COMPREPLY[*]} \" == *' --jobs '* ]]"

# Images in natural order, the subfolder only with --recursive, a clear line
# for a skipped file.
for name in img10 img2 sub/img1; do cp "$(dirname "$program")/../../samples/cells.png" "batch/$name.png"; done
echo notes >batch/notes.txt
"$program" count batch >plain.out 2>plain.err
check "natural order without the subfolder" bash -c "
    grep -o 'img[0-9]*' plain.out | tr '\n' ' ' | grep -qx 'img2 img10 '"
check "a skipped file is named" grep -q 'notes.txt: skipped' plain.err
"$program" count --recursive batch >deep.out 2>/dev/null
check "--recursive counts the subfolder" bash -c "[ \$(wc -l <deep.out) -eq 3 ]"

# -q: nothing but the files asked for.
"$program" count -q --table q.csv batch/img2.png >q.out 2>q.err
check "-q prints nothing" bash -c "[ ! -s q.out ] && [ ! -s q.err ] && [ -s q.csv ]"

# Output suffixes: JPEG and tab-separated tables are written; others refused.
"$program" count --annotated a.jpg --table t.tsv batch/img2.png >/dev/null 2>&1
check "--annotated a.jpg writes JPEG" bash -c "head -c 3 a.jpg | od -An -tx1 | grep -q 'ff d8 ff'"
check "--table t.tsv writes tabs" bash -c "sed -n 2p t.tsv | grep -q \$'\t'"
"$program" count --annotated a.gif batch/img2.png >/dev/null 2>refused.err
refused=$?
check "--annotated a.gif is refused" bash -c "[ $refused -eq 2 ] && grep -q 'must end in' refused.err"

# A dumb terminal gets no progress bar, only the lines.
check "TERM=dumb draws no bar" bash -c "
    TERM=dumb script -qec \"'$program' count batch\" /dev/null | grep -qv '\\['"

echo "$failures failed"
[ "$failures" -eq 0 ]
