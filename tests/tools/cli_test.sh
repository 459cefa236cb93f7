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
fail() { echo "FAIL: $*"; exit 1; }

# Bare `inetmgr` is the help and touches nothing; every command is in the
# man page and the completion.
grep -q "^usage: inetmgr COMMAND" <<<"$("$tool")" || fail "bare inetmgr does not print the help"
[[ ! -e "$INETMGR_DATA_DIR" ]] || fail "bare inetmgr created the data directory"
grep -q "^inetmgr [0-9]" <<<"$("$tool" --version)" || fail "no --version"
while read -r command; do
  grep -q "^\.BR\? $command" <<<"$(sed 's/\\-/-/g' "$examples/../tools/inetmgr.1")" || fail "$command not in the man page"
  for word in $command; do
    grep -qw -- "$word" "$examples/../tools/inetmgr.bash-completion" || fail "$command not in the completion"
  done
  grep -q "^exit status:" <<<"$("$tool" $command --help)" || fail "$command --help has no exit codes"
done < <("$tool" --help | sed -n '/^commands:/,/^$/p' | awk -F '  +' 'NF > 2 {print $2}')
out=$("$tool" sites --sitelist 2>&1) && fail "a missing value is accepted"
grep -q -- "--sitelist needs a value" <<<"$out" || fail "the missing value is not named: $out"

mkdir -p "$INETMGR_DATA_DIR/etc"
cp "$example" "$INETMGR_DATA_DIR/etc/SiteList.xml"
out=$("$tool" sites) || fail "sites on the example exited $?"
for name in MgmtServer01 RepoEast BranchShare VendorFallback; do
  grep -q "$name" <<<"$out" || fail "$name missing from: $out"
done
grep -q "versions: global 20261122081500, local 20261122093000" <<<"$out" || fail "versions: $out"
[[ -s "$INETMGR_DATA_DIR/etc/cabundle.cer" ]] || fail "no CA bundle written"
cp "$INETMGR_DATA_DIR/etc/cabundle.cer" "$scratch/held.cer"
cp "$INETMGR_DATA_DIR/etc/sitecache.bin" "$scratch/held.bin"

# A newer list with another CA bundle that is rejected on the way leaves the
# held list's bundle in place, and no litter beside it.
sed -e 's/GlobalVersion="20261122081500"/GlobalVersion="20261123000000"/' -e 's/MIIBszCCAVmg/QUJDQUJDQUJD/' \
  "$example" > "$scratch/other.xml"
# (One byte longer: a rewrite in the same second at the same size is not seen.)
sed -e 's/"nMaxHopLimit">15/"nMaxHopLimit">310/' "$scratch/other.xml" > "$INETMGR_DATA_DIR/etc/SiteList.xml"
out=$("$tool" sites) || fail "the held list is not shown: $out"
grep -q "^not taken, .*nMaxHopLimit" <<<"$out" || fail "the rejection is not shown: $out"
cmp -s "$scratch/held.cer" "$INETMGR_DATA_DIR/etc/cabundle.cer" || fail "a rejected list replaced the CA bundle"
[[ $(ls "$INETMGR_DATA_DIR/etc") == *tmp* ]] && fail "litter: $(ls "$INETMGR_DATA_DIR/etc")"

# Another list (by any name) is read without writing beside it or touching
# the agent's cache and bundle: it has files of its own in the data directory.
mkdir "$scratch/foreign"
cp "$scratch/other.xml" "$scratch/foreign/SiteList.xml"
grep -q RepoEast <<<"$("$tool" sites --sitelist "$scratch/foreign/SiteList.xml")" || fail "the other list is not read"
(cd "$scratch" && "$tool" sites --sitelist ./foreign/../foreign/SiteList.xml >/dev/null) || fail "a relative path"
[[ $(ls "$scratch/foreign") == SiteList.xml ]] || fail "written beside the list: $(ls "$scratch/foreign")"
cmp -s "$scratch/held.cer" "$INETMGR_DATA_DIR/etc/cabundle.cer" || fail "the agent's CA bundle was replaced"
cmp -s "$scratch/held.bin" "$INETMGR_DATA_DIR/etc/sitecache.bin" || fail "the agent's cache was replaced"
bundles=("$INETMGR_DATA_DIR"/var/lists/*/cabundle.cer)
[[ ${#bundles[@]} -eq 1 ]] && grep -q QUJDQUJD "${bundles[0]}" || fail "bundles of the other list: ${bundles[*]}"

grep -q '"accepted": true' <<<"$("$tool" sites --json)" || fail "no JSON"

# Text from a site list never reaches the terminal raw; skipped entries are listed.
mkdir "$scratch/odd"
printf '<SiteLists GlobalVersion="1" LocalVersion="1"><SiteList><HttpSite Name="Tab&#9;Name" Type="repository"/><FTPSite Name="NoType"/></SiteList></SiteLists>' \
  > "$scratch/odd/SiteList.xml"
out=$("$tool" sites --sitelist="$scratch/odd/SiteList.xml") || fail "the odd list is rejected: $out"
grep -q 'Tab\\x09Name' <<<"$out" || fail "a control character is not escaped: $out"
grep -q '<FTPSite Name="NoType">: Unknown site type' <<<"$(grep -A1 "^skipped entries: 1" <<<"$out")" || fail "no skipped entry: $out"

printf '<SiteLists GlobalVersion="1"><SiteList><HttpSite Name="W" Type="repository"/></SiteList></SiteLists>' \
  > "$scratch/bad.xml"
set +e
out=$("$tool" sites --sitelist "$scratch/bad.xml")
status=$?
set -e
[[ $status -eq 248 ]] || fail "a rejected list exits $status, not 248 (-8)"
grep -q "^rejected: .*LocalVersion" <<<"$out" || fail "the rejection does not name what is missing: $out"

# A list whose only site is unusable says which entry and why.
printf '<SiteLists GlobalVersion="1" LocalVersion="1"><SiteList><HttpSite Name="Web1" Type="nonsense"/></SiteList></SiteLists>' \
  > "$scratch/bad.xml"
out=$("$tool" sites --sitelist "$scratch/bad.xml") && fail "an unusable list is accepted: $out"
grep -q '^rejected: Reject empty site list.*<HttpSite Name="Web1">: Unknown site type' <<<"$out" ||
  fail "the rejection does not name the entry: $out"

first=$(printf 's3cret\n' | "$tool" encrypt-password)
second=$(printf 's3cret\n' | "$tool" encrypt-password)
[[ "$first" == "$second" && "$first" =~ ^[A-Za-z0-9+/=]+$ ]] || fail "password text '$first' / '$second'"
[[ "$first" != *s3cret* ]] || fail "the password shows through"
if "$tool" encrypt-password s3cret >/dev/null 2>&1; then fail "a password on the command line is accepted"; fi
if printf 'one\ntwo\n' | "$tool" encrypt-password >/dev/null 2>&1; then fail "two lines are accepted"; fi

cat > "$scratch/pw.xml" <<XML
<SiteLists GlobalVersion="2" LocalVersion="2"><SiteList>
<UNCSite Type="repository" Name="WithPassword" Server="fs" UserName="svc" Password="$first"/>
</SiteList></SiteLists>
XML
grep -q WithPassword <<<"$("$tool" sites --sitelist "$scratch/pw.xml")" || fail "the encrypted password is not accepted"
grep -q "usage: inetmgr" <<<"$("$tool" sites --help)" || fail "no help"

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

# The example description says all that the example list says: written out
# and read back, it gives the same versions, policies, sites and CA bundle.
sed "1s|{|{\"output\": \"$scratch/written.xml\",|" "$examples/SiteList.json" > "$scratch/described.json"
"$tool" write --from "$scratch/described.json" || fail "the example description is refused"
grep -q 'Name="RepoWest".* SecurePort="8443" Port="8080"' "$scratch/written.xml" || fail "no ports for RepoWest"
# (The example's policies are the defaults, which reading alone cannot tell from none.)
[[ $(grep -c '<Setting name="[A-Za-z]*">[0-9]*</Setting>' "$scratch/written.xml") -eq 4 ]] || fail "policies not written"
read_back() { INETMGR_DATA_DIR=$scratch/$1 "$tool" sites --json --sitelist "$2" | sed '/"siteList":/d'; }
out=$(read_back from-example "$example")
[[ "$out" == *'"accepted": true'* && $(grep -c '"name"' <<<"$out") -eq 8 ]] || fail "the example is not read: $out"
[[ "$out" == "$(read_back from-description "$scratch/written.xml")" ]] || fail "the description reads back otherwise"
bundles=("$scratch"/from-example/var/lists/*/cabundle.cer "$scratch"/from-description/var/lists/*/cabundle.cer)
[[ -s ${bundles[0]} ]] && cmp -s "${bundles[@]}" || fail "the CA bundles differ: ${bundles[*]}"

# A description is checked whole before anything is written: each fault is
# one line naming the site or proxy and the field, and the exit is 253.
W='{"kind": "http", "name": "W", "type": "repository"'
while IFS='|' read -r list extra expected; do
  printf '{"globalVersion": "1", "localVersion": "1", "output": "%s", "siteLists": [{%s}]%s}' \
    "$scratch/refused.xml" "$list" "$extra" > "$scratch/bad.json"
  set +e
  "$tool" write --from "$scratch/bad.json" 2>"$scratch/err"
  status=$?
  set -e
  [[ $status -eq 253 ]] && grep -qF "inetmgr write: $expected" "$scratch/err" ||
    fail "$list$extra exits $status with: $(cat "$scratch/err")"
done <<TABLE
"sites": [{"kind": "http", "type": "repository"}]||site #1: "name" is required
"sites": [$W, "securePort": "84430"}]||site "W": "securePort" must be a whole number from 1 to 65535, not "84430"
"sites": [$W, "order": 2147483648}]||site "W": "order" must be a whole number from 0 to 2147483647, not 2147483648
"sites": [$W, "enabled": "yes"}]||site "W": "enabled" must be 0, 1, true or false, not "yes"
"sites": [{"kind": "gopher", "name": "W", "type": "repository"}]||site "W": "kind" must be http, ftp, unc, local,
"sites": [{"kind": "ftp", "name": "W", "type": "Mirror"}]||site "W": "type" must be master, repository, fallback,
"sites": [$W}, $W}]||site "W": another site of this site list has that name
"sites": [$W, "id": "{1}"}], "proxies": [{"name": "P", "id": "{1}", "ftpServer": "p", "ftpPort": 21}]||proxy "P": "id" "{1}" is already the ID of site "W"
"sites": [$W}], "proxies": [{"name": "P", "httpServer": "p"}]||proxy "P": needs "httpServer" with "httpPort"
"sites": [$W, "encryptedPassword": "c2VjcmV0"}]||site "W": "encryptedPassword" does not decrypt under this machine's key
"sites": [$W}]|, "policies": {"nMaxHopLimit": 31}|policies: "nMaxHopLimit" must be a whole number from 0 to 30, not 31
TABLE
printf '{"globalVersion": "1", "localVersion": "1", "siteLists": [{"sites": [%s, "port": 0, "useAuth": 2}, {}]}]}' \
  "$W" > "$scratch/bad.json"
"$tool" write --from "$scratch/bad.json" 2>"$scratch/err" && fail "a faulty description is written"
[[ $(grep -c '^inetmgr write: site ' "$scratch/err") -eq 5 ]] || fail "not every fault is listed: $(cat "$scratch/err")"
[[ ! -e $scratch/refused.xml ]] || fail "a refused description was written"
printf '{"globalVersion": "1", "localVersion": "1", "output": "%s", "siteLists": [{"sites": [%s, %s}]}]}' \
  "$scratch/accepted.xml" "$W" "\"encryptedPassword\": \"$first\", \"enabled\": \"true\"" > "$scratch/good.json"
"$tool" write --from "$scratch/good.json" || fail "a password from encrypt-password is refused"
grep -q "Enabled=\"1\".*<Password Encrypted=\"1\">$first<" <(tr -d '\n\t' < "$scratch/accepted.xml") ||
  fail "the flag or the password is not written as the reader takes them: $(cat "$scratch/accepted.xml")"

# One key per fleet: the fingerprint shows whether machines share the key,
# never shows the key, and is no reason to make one.
mkdir -p "$scratch/m1/etc" "$scratch/m2/etc" "$scratch/m3/etc"
fingerprint() { INETMGR_DATA_DIR=$scratch/$1 "$tool" key fingerprint | sed -n 's/^fingerprint: //p'; }
if INETMGR_DATA_DIR=$scratch/m3 "$tool" key fingerprint 2>/dev/null || [[ -e $scratch/m3/etc/inetmgr.key ]]; then
  fail "a fingerprint without a key, or a key made for it"
fi
head -c 32 /dev/urandom > "$scratch/m1/etc/inetmgr.key"
cp "$scratch/m1/etc/inetmgr.key" "$scratch/m2/etc/inetmgr.key"
head -c 32 /dev/urandom > "$scratch/m3/etc/inetmgr.key"
f1=$(fingerprint m1) f2=$(fingerprint m2) f3=$(fingerprint m3)
[[ "$f1" =~ ^([0-9a-f]{4}:){7}[0-9a-f]{4}$ && "$f1" == "$f2" && "$f1" != "$f3" ]] || fail "fingerprints $f1 $f2 $f3"
out=$(INETMGR_DATA_DIR=$scratch/m1 "$tool" key fingerprint)
hex=$(od -An -tx1 "$scratch/m1/etc/inetmgr.key" | tr -d ' \n')
b64=$(base64 -w0 "$scratch/m1/etc/inetmgr.key")
[[ "${out,,}" != *"${hex:0:8}"* && "$hex" != *"${f1//:/}"* && "$out" != *"${b64:0:8}"* ]] ||
  fail "the key shows through: $out"

# Transfers through the connection object and the upload helper with
# --dry-run: the recording transfer moves nothing and the tool prints what it
# was asked to do.
export INETMGR_DATA_DIR=$scratch/t
mkdir -p "$INETMGR_DATA_DIR/etc/locks"
spipe() { echo "<SpipeSite Type=\"master\" Name=\"$1\" ServerIP=\"$2\" Order=\"$3\" Enabled=\"1\"/>"; }
echo "<SiteLists GlobalVersion=\"1\" LocalVersion=\"1\"><SiteList>
$(spipe M1 10.0.0.1:443 1)$(spipe M2 10.0.0.2:443 2)
<HttpSite Type=\"repository\" Name=\"Repo\" Server=\"repo:80\" Enabled=\"1\"/></SiteList></SiteLists>" \
  > "$INETMGR_DATA_DIR/etc/SiteList.xml"
out=$(INETMGR_TRANSFER=network "$tool" download --file cat.z --from /Software --to "$scratch/dl" --site Repo --dry-run 2>"$scratch/err") ||
  fail "download: $out"
record=$(grep -A2 "was last asked to" <<<"$out" | tr -s ' ' | tr '\n' '|')
[[ $record == *"download /Software/cat.z| into $scratch/dl/cat.z|" ]] || fail "the download's record: $out"
[[ $(cat "$scratch/err") != *$'\r'* ]] || fail "a progress line off a terminal"
out=$("$tool" upload --file "$scratch/none" --to /in --master 2>&1) && fail "a missing file is uploaded: $out"
[[ $out == *"no file at $scratch/none"* ]] || fail "the missing file is not named: $out"
"$tool" upload --file "$example" --to /in --site Repo --fallback 2>/dev/null && fail "two site choices"
respond() {
  INETMGR_TEST_TRANSFER_SCRIPT=$1 "$tool" upload-response --file "$example" --guid G --response "$scratch/a" "${@:2}"
}
out=$(respond "UploadFile=-2" 2>&1) && fail "a script without --dry-run is taken: $out"
[[ $out == *"give --dry-run too"* ]] || fail "a script without --dry-run: $out"
out=$(respond "UploadFile=-2" --dry-run) || fail "no failover: $out"
[[ $(grep -c "UploadFile($example, /spipe/pkg?AgentGuid=G&Source=Agent_3.0.0) answered" <<<"$out") == 2 &&
  $out == *"answered -2"* && $out == *"(transfer code 0)"* ]] || fail "the failover: $out"
set +e
out=$(respond "UploadFile=-95" --dry-run)
status=$?
set -e
[[ $status -eq 245 && $out == *"new agent GUID"* ]] || fail "-95 exits $status: $out"

# Without --dry-run files really move, and a download without a choice of
# site walks the enabled sites in the library's order until one serves it: a
# server that refuses, then a local path. The file arrives whole and the
# failed site is named with its reason.
mkdir -p "$scratch/repo/Software" && head -c 300000 /dev/urandom >"$scratch/repo/Software/big.bin"
echo "<SiteLists GlobalVersion=\"1\" LocalVersion=\"1\"><SiteList>
<HttpSite Type=\"repository\" Name=\"Dead\" Server=\"127.0.0.1:1\" Order=\"1\" Enabled=\"1\"/>
<LocalSite Type=\"repository\" Name=\"Disk\" Order=\"2\" Enabled=\"1\"><RelativePath>$scratch/repo</RelativePath></LocalSite>
</SiteList></SiteLists>" >"$scratch/walk.xml"
out=$("$tool" download --sitelist "$scratch/walk.xml" --file big.bin --from /Software --to "$scratch/got" 2>"$scratch/err") ||
  fail "the walk: $out $(cat "$scratch/err")"
[[ $out == "downloaded big.bin from /Software through Disk into $scratch/got" ]] &&
  cmp -s "$scratch/repo/Software/big.bin" "$scratch/got/big.bin" && grep -q "^inetmgr download: Dead (order 1): " "$scratch/err" ||
  fail "the walk: $out $(cat "$scratch/err")"
[[ -z $(find "$scratch/got" -name '*.part-*') ]] || fail "a temporary file is left: $(ls "$scratch/got")"

# rank on loopback: the library's ranking by the list's policy (an address
# that does not parse is unmeasurable, with no packet and no name lookup),
# then measured by hop count, each order with its reason.
site() { printf '<%s Name="%s" Type="%s" Server="%s.invalid" ServerIP="%s" Enabled="1"><RelativePath>x</RelativePath></%s>' "$1" "$2" "$3" "$2" "$4" "$1"; }
printf '<SiteLists GlobalVersion="1" LocalVersion="1"><SiteList>%s%s%s%s%s</SiteList><Policies><Setting name="uiFindNearestMethod">0</Setting><Setting name="nMaxPingTimeout">1</Setting></Policies></SiteLists>' \
  "$(site HttpSite Broken repository 999.0.0.2)" "$(site SpipeSite Mgmt master 999.0.0.1)" "$(site HttpSite Vendor fallback 127.0.0.3)" \
  "$(site HttpSite Near repository 127.0.0.2)" '<HttpSite Name="Here" Type="repository" Server="localhost" Enabled="1"/>' >"$scratch/rank.xml"
out=$("$tool" rank --sitelist "$scratch/rank.xml") || fail "rank exited $?: $out"
grep -Eq "^ +[0-9]+ +Near +[0-9]+ ms +measured delay$" <<<"$out" || fail "no measured delay: $out"
[[ $(awk '$1 ~ /^[0-9]+$/ {printf "%s %s|", $1, $2}' <<<"$out") =~ ^(0\ (Here|Near)\|){2}65533\ Mgmt\|65534\ Vendor\|65535\ Broken\|$ &&
   $(grep -cE " (local server|management server, unmeasurable|fallback or mirror|unmeasurable)$" <<<"$out") == 4 ]] ||
  fail "not nearest first with its reasons: $out"
# The hop search looks up by name what is not an address: no such site here.
printf '<SiteLists GlobalVersion="2" LocalVersion="2"><SiteList>%s%s</SiteList></SiteLists>' \
  "$(site HttpSite Vendor fallback 127.0.0.3)" "$(site SpipeSite Near master 127.0.0.2)" >"$scratch/hops.xml"
out=$("$tool" rank --sitelist "$scratch/hops.xml" --method hops --hop-limit 3) || fail "rank --method hops exited $?"
grep -Eq "^ +1 +Near +1 hop +measured hops$" <<<"$out" && grep -q "65534 Vendor" <<<"$out" || fail "hops: $out"
! out=$("$tool" rank --sitelist "$scratch/rank.xml" --method pong 2>&1) && [[ $out == *"must be ping or hops"* ]] ||
  fail "a bad method: $out"

# Ctrl-C on a terminal while the tool waits for another process's site list
# refresh: the progress line shows and the tool stops through the shutdown path.
# The command is exec'd: a shell that stays (dash does) would take the
# SIGINT itself and end the session with 130 before the tool answers.
waitfor() {
  for _ in $(seq 300); do grep -q "$1" "$scratch/tty" 2>/dev/null && return 0; sleep 0.1; done
  return 1
}
exec 9>"$INETMGR_DATA_DIR/etc/locks/SiteListSortingLock.lock"
flock 9
set +e
{ waitfor "download: cat.z  [0-9.]* s" && printf '\003' && waitfor stopping; flock -u 9; } |
  script -qefc "exec $tool download --file cat.z --from /S --to $scratch/dl" "$scratch/tty" >/dev/null
status=$?
set -e
exec 9>&-
grep -q "stopped by Ctrl-C" "$scratch/tty" && [[ $status -eq 242 ]] ||
  fail "Ctrl-C exits $status: $(cat -v "$scratch/tty")"

echo "cli test passed"
