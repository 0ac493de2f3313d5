#!/usr/bin/env bash
# Starts the real studio under a virtual X server, walks the four steps on the
# disc picture and checks that a screenshot of each step was saved.
# Usage: screenshots.sh STUDIO WRITE_DISC_IMAGE OUTPUT_DIR
set -euo pipefail
studio="$1"
writer="$2"
out="$3"

rm -rf "$out"
mkdir -p "$out/home"
"$writer" "$out/discs.png"

# A private home: the run must not read or change the user's settings.
export HOME="$out/home" XDG_CONFIG_HOME="$out/home/.config" AUTOCOUNT_STUDIO_QUIET=1
unset QT_QPA_PLATFORM
log="$out/run.log"
if ! timeout 240 xvfb-run -a -s "-screen 0 1400x900x24" \
        "$studio" --demo-screenshots "$out" "$out/discs.png" >"$log" 2>&1; then
    echo "studio run failed:"; cat "$log"; exit 1
fi
cat "$log"
for step in step1-regions step2-segmentation step3-separation step4-results; do
    file="$out/$step.png"
    if [ ! -s "$file" ]; then
        echo "missing screenshot $file"; exit 1
    fi
done
grep -q '^count [1-9]' "$log" || { echo "no objects counted"; exit 1; }
# Nobody asked for the camera: no video back end may have been woken.
if grep -Eiq 'videoio|gstreamer|v4l' "$log"; then
    echo "the camera was looked for at start"; exit 1
fi
echo "screenshots in $out"
