#!/usr/bin/env bash
# Generates the country zone files from the CC0 data package @ip-location-db/geo-whois-asn-country
# (IPv4 ranges with a two-letter country code). Each range becomes the CIDR networks that cover it
# exactly, and each country gets one "<code>-aggregated.zone" file with one network per line.
#
# Usage: scripts/setup-country-data.sh [output-directory]   (default: build/nations)
# Needs node and npm. The package is fetched through npm into a temporary directory; nothing is
# fetched at build or run time.
set -euo pipefail

here="$(cd "$(dirname "${BASH_SOURCE[0]}")/.." && pwd)"
out="${1:-$here/build/nations}"
package="@ip-location-db/geo-whois-asn-country"
version="${HALVEX_COUNTRY_DATA_VERSION:-}"

if ! command -v node >/dev/null || ! command -v npm >/dev/null; then
  echo "setup-country-data: installing nodejs and npm from Debian's packages"
  SUDO=""
  [ "$(id -u)" -ne 0 ] && SUDO="sudo"
  DEBIAN_FRONTEND=noninteractive $SUDO apt-get install -y -qq --no-install-recommends nodejs npm
fi

work="$(mktemp -d)"
trap 'rm -rf "$work"' EXIT

start=$(date +%s)
target="$package${version:+@$version}"
npm install --prefix "$work" --no-save --no-audit --no-fund --loglevel=error "$target" >/dev/null
csv="$work/node_modules/$package/geo-whois-asn-country-ipv4-num.csv"
[ -f "$csv" ] || { echo "setup-country-data: $csv not found in the package" >&2; exit 1; }

mkdir -p "$out"
rm -f "$out"/*-aggregated.zone

node - "$csv" "$out" <<'JS'
const fs = require('fs');
const [csv, out] = process.argv.slice(2);
const byCountry = new Map();
let ranges = 0, networks = 0;

function dotted(n) {
  return [n >>> 24, (n >>> 16) & 255, (n >>> 8) & 255, n & 255].join('.');
}
// The fewest CIDR networks that cover first..last exactly (numbers up to 2^32 are exact doubles).
function cover(first, last, into) {
  while (first <= last) {
    let size = 1, prefix = 32;
    while (prefix > 0 && first % (size * 2) === 0 && first + size * 2 - 1 <= last) {
      size *= 2;
      prefix -= 1;
    }
    into.push(dotted(first) + '/' + prefix);
    networks++;
    first += size;
  }
}

for (const line of fs.readFileSync(csv, 'utf8').split('\n')) {
  const fields = line.trim().split(',');
  if (fields.length < 3) continue;
  const first = Number(fields[0]), last = Number(fields[1]);
  const code = fields[2].trim().toLowerCase();
  if (!Number.isInteger(first) || !Number.isInteger(last) || first > last || last > 4294967295) continue;
  if (!/^[a-z]{2}$/.test(code)) continue;
  if (!byCountry.has(code)) byCountry.set(code, []);
  cover(first, last, byCountry.get(code));
  ranges++;
}
for (const [code, lines] of byCountry) {
  fs.writeFileSync(`${out}/${code}-aggregated.zone`, lines.join('\n') + '\n');
}
console.log(`${byCountry.size} zone files, ${ranges} ranges, ${networks} networks`);
JS

echo "written to $out in $(( $(date +%s) - start )) s"
