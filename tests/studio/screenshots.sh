#!/usr/bin/env bash
# Starts the real studio under a virtual X server, walks the four steps on the
# disc picture (with the mask over the image, a calibration from a line, two
# objects added by hand and a picture exported with a scale bar) and checks
# that every screenshot was saved. With DOCS_DIR, the README's pictures are
# copied there from this run.
# Usage: screenshots.sh STUDIO WRITE_DISC_IMAGE OUTPUT_DIR [DOCS_DIR]
set -euo pipefail
studio="$1"
writer="$2"
out="$3"
docs="${4:-}"

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
for step in step1-regions step2-segmentation step3-separation step4-results \
        step4-distribution calibrate-line calibrate-dialog exported; do
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
if [ -n "$docs" ]; then
    cp "$out/step4-results.png" "$docs/studio.png"
    cp "$out/step2-segmentation.png" "$docs/studio-mask.png"
    cp "$out/calibrate-line.png" "$docs/studio-calibrate-line.png"
    cp "$out/calibrate-dialog.png" "$docs/studio-calibrate-dialog.png"
    cp "$out/exported.png" "$docs/studio-exported.png"
    echo "README pictures copied to $docs"
fi
echo "screenshots in $out"
