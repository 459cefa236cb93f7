#!/usr/bin/env bash
# cli_test.sh INETMGR EXAMPLES_DIR: the command-line tool as an administrator
# uses it.
set -euo pipefail
tool=$1
examples=$2
example=$examples/SiteList.xml
scratch=$(mktemp -d)
trap 'rm -rf "$scratch"' EXIT
export INETMGR_DATA_DIR=$scratch/data INETMGR_TEST_IP_ADDRESS=10.0.0.9
mkdir -p "$INETMGR_DATA_DIR/etc"
fail() { echo "FAIL: $*"; exit 1; }

cp "$example" "$INETMGR_DATA_DIR/etc/SiteList.xml"
out=$("$tool" sites) || fail "sites on the example exited $?"
for name in MgmtServer01 RepoEast BranchShare VendorFallback; do
  grep -q "$name" <<<"$out" || fail "$name missing from: $out"
done
grep -q "versions: global 20261122081500, local 20261122093000" <<<"$out" || fail "versions: $out"
[[ -s "$INETMGR_DATA_DIR/etc/cabundle.cer" ]] || fail "no CA bundle written"

printf '<SiteLists GlobalVersion="1"><SiteList/></SiteLists>' > "$scratch/bad.xml"
set +e
out=$("$tool" sites --sitelist "$scratch/bad.xml")
status=$?
set -e
[[ $status -eq 249 ]] || fail "a rejected list exits $status, not 249 (-7)"
grep -q "^rejected" <<<"$out" || fail "no rejection reason: $out"

first=$(printf 's3cret\n' | "$tool" encrypt-password)
second=$(printf 's3cret\n' | "$tool" encrypt-password)
[[ "$first" == "$second" && "$first" =~ ^[A-Za-z0-9+/=]+$ ]] || fail "password text '$first' / '$second'"
[[ "$first" != *s3cret* ]] || fail "the password shows through"
if "$tool" encrypt-password s3cret >/dev/null 2>&1; then fail "a password on the command line is accepted"; fi

cat > "$scratch/pw.xml" <<XML
<SiteLists GlobalVersion="2" LocalVersion="2"><SiteList>
<UNCSite Type="repository" Name="WithPassword" Server="fs" UserName="svc" Password="$first"/>
</SiteList></SiteLists>
XML
"$tool" sites --sitelist "$scratch/pw.xml" | grep -q WithPassword || fail "the encrypted password is not accepted"
"$tool" sites --help | grep -q "usage: inetmgr" || fail "no help"

# A site list written from its description reads back with every site.
rm -f "$INETMGR_DATA_DIR/etc/sitecache.bin"
"$tool" write --from "$examples/SiteList.json" || fail "write --from exited $?"
grep -q "<SpipeSite" "$INETMGR_DATA_DIR/etc/SiteList.xml" || fail "no spipe site written"
out=$("$tool" sites) || fail "the written list is rejected: $out"
for name in MgmtServer01 RepoEast FtpArchive BranchShare BranchSuperAgent VendorFallback; do
  grep -q "$name" <<<"$out" || fail "$name missing after write: $out"
done
printf '{"globalVersion": "1", "localVersion": "1", "siteLists": [{"sites": [{"kind": "http", "nmae": "typo"}]}]}' \
  > "$scratch/typo.json"
set +e
"$tool" write --from "$scratch/typo.json" 2>"$scratch/err"
status=$?
set -e
[[ $status -eq 253 ]] || fail "a misspelt key exits $status, not 253 (-3)"
grep -q 'unknown key "nmae"' "$scratch/err" || fail "the typo is not named: $(cat "$scratch/err")"
echo "cli test passed"
