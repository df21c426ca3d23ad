#!/usr/bin/env bash
# The documentation is a site, with the manual in it: every page is in the navigation, every link leads somewhere, nothing is fetched
# from elsewhere.
set -euo pipefail
for program in mkdocs mandoc; do
  command -v $program >/dev/null || { echo "skipped: $program isn't installed"; exit 77; }
done
site=$(mktemp -d)
trap 'rm -rf "$site"' EXIT
"$(dirname "$0")/../../script/docs" "$site/docs"
[ -s "$site/docs/tutorial.html" ]
pages=$site/docs/manual
[ "$(find "$pages" -name 'qor-trace*.html' | wc -l)" -eq "$(find "$(dirname "$0")/../../docs/man" -name '*.in' | wc -l)" ]
grep -q '<a href="Qor_Trace_Entry_t.3.html"><b>Qor_Trace_Entry_t</b></a>' "$pages/Qor_Trace_GetItems.3.html"
grep -q '<a href="../filter.html">' "$pages/qor-trace-filter.7.html"
