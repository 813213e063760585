#!/bin/sh
# run-interop.sh SOURCE_DIR WORK_DIR CLI: the MCP reference client against pellmora-cli mcp.
set -eu
src=$1; work=$2; cli=$3
command -v node >/dev/null || { echo "node fehlt" >&2; exit 1; }
command -v npm >/dev/null || { echo "npm fehlt" >&2; exit 1; }
mkdir -p "$work"
cp "$src/package.json" "$src/package-lock.json" "$src/interop.mjs" "$work/"
cd "$work"
if [ ! -d node_modules ]; then
    npm ci --no-audit --no-fund >/dev/null
fi
home=$(mktemp -d)
trap 'rm -rf "$home"' EXIT
mkdir -p "$home/Pellmora"
id=11111111-2222-3333-4444-555555555555
topic=22222222-2222-3333-4444-555555555555
win=33333333-2222-3333-4444-555555555555
cat > "$home/Pellmora/library.json" <<JSON
{"version":1,"tabs":[{"id":"$id","url":"https:\/\/kochen.ch\/roesti","title":"Rösti Rezept","domain":"kochen.ch","savedAt":"2026-11-01T08:15:00Z","windowId":"$win","windowIndex":1,"tabIndex":1,"text":"Kartoffeln reiben und in Butter braten.","summary":"Rösti","topicId":"$topic","note":"","projectTags":[],"tags":["kochen"],"isDemo":false}],"windows":[{"id":"$win","savedAt":"2026-11-01T08:15:00Z","title":"Küche","tabIds":["$id"]}],"topics":[{"id":"$topic","name":"Kochen","color":"blue","tabIds":["$id"],"isUnsorted":false}],"embeddings":{},"embedderKind":"","topicsByAI":false}
JSON
node interop.mjs "$cli" "$home" "$id"
