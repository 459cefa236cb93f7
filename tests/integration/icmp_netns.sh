#!/usr/bin/env bash
# The ICMP tests' network, namespaces PREFIX-*: `up PREFIX [ROUTERS]` (77: no
# namespaces here), `down PREFIX`. Client "c", routers "r1".."rN" in a chain,
# link k joining node k-1 (node 0 the client) to router k as 198.18.k.1/.2 and
# 2001:2:0:k::1/::2, so router k answers k hops away at .2; echo namespace "e"
# on the client at 198.18.100.2-9 and 2001:2:0:100::2-9 with the kernel's echo
# replies off; r1 answers "unreachable" for 198.18.99.0/24 and 2001:2:0:99::/64.
# Benchmarking ranges, routed nowhere but inside these namespaces.
set -u
prefix=$2 routers=${3:-3}
down() { ip netns list 2>/dev/null | awk -v p="^$1-" '$1 ~ p {print $1}' | xargs -rn1 ip netns del; }
[[ $1 == down ]] && { down "$prefix"; exit 0; }
for ns in $(ip netns list 2>/dev/null | grep -oE '^imt[0-9]+-n'); do  # left by killed runs; the pid is in the name
  pid=${ns#imt}; kill -0 "${pid%-n}" 2>/dev/null || down "$ns"
done
ip netns add "$prefix-c" 2>/dev/null || exit 77
trap 'down "$prefix"; exit 1' ERR
set -eE
n=("$prefix-c")
for ((k = 1; k <= routers; k++)); do n+=("$prefix-r$k"); done
for ns in "${n[@]:1}" "$prefix-e"; do ip netns add "$ns"; done
for ns in "${n[@]}" "$prefix-e"; do
  ip netns exec "$ns" sysctl -qw net.ipv6.conf.all.accept_dad=0 net.ipv6.conf.default.accept_dad=0 \
    net.ipv4.ip_forward=1 net.ipv6.conf.all.forwarding=1 net.ipv4.icmp_ratelimit=0 net.ipv6.icmp.ratelimit=0
  ip -n "$ns" link set lo up
done
# veth A:IFA -- B:IFB, up before it gets addresses (the other way round the
# first IPv6 neighbour solicitations go unanswered for a second or two).
veth() { ip -n "$1" link add "$2" type veth peer name "$4" netns "$3"; ip -n "$1" link set "$2" up; ip -n "$3" link set "$4" up; }
addr() { ip -n "$1" addr add "$2.$4/24" dev "$5"; ip -n "$1" addr add "$3::$4/64" dev "$5" nodad; }
route() { ip -n "$1" route add "$2" via "$3"; }
for ((k = 1; k <= routers; k++)); do
  veth "${n[k-1]}" "to$k" "${n[k]}" "from$k"
  addr "${n[k-1]}" "198.18.$k" "2001:2:0:$k" 1 "to$k"
  addr "${n[k]}" "198.18.$k" "2001:2:0:$k" 2 "from$k"
  route "${n[k]}" 198.18.0.0/16 "198.18.$k.1"
  route "${n[k]}" 2001:2::/48 "2001:2:0:$k::1"
  for ((j = 0; j < k - 1; j++)); do
    route "${n[j]}" "198.18.$k.0/24" "198.18.$((j + 1)).2"
    route "${n[j]}" "2001:2:0:$k::/64" "2001:2:0:$((j + 1))::2"
  done
done
route "${n[0]}" 198.18.0.0/16 198.18.1.2
route "${n[0]}" 2001:2::/48 2001:2:0:1::2
ip -n "${n[1]}" route add unreachable 198.18.99.0/24
ip -n "${n[1]}" route add unreachable 2001:2:0:99::/64
ip netns exec "$prefix-e" sysctl -qw net.ipv4.icmp_echo_ignore_all=1 net.ipv6.icmp.echo_ignore_all=1
veth "${n[0]}" echo "$prefix-e" client
addr "${n[0]}" 198.18.100 2001:2:0:100 1 echo
for ((h = 2; h <= 9; h++)); do addr "$prefix-e" 198.18.100 2001:2:0:100 "$h" client; done
