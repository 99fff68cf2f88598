#!/bin/bash
# Usage: check_exports.sh NM BINARY SYMBOLS
# Passes when BINARY's dynamic symbol table defines, as functions, exactly what the library's Debian
# symbols file SYMBOLS lists, and nothing else; prints the difference otherwise (- listed, + found).
set -euo pipefail
# A local entry (a lowercase type other than u, GNU unique) binds nothing; sanitizer builds keep some.
diff -u <(sed -n 's/^ \([^ ]*\)@Base .*/T \1/p' "$3" | LC_ALL=C sort) \
  <("$1" -D --defined-only "$2" | awk '$2 !~ /^[a-tv-z]$/' | cut -d' ' -f2- | LC_ALL=C sort)
