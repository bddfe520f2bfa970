#!/usr/bin/env bash
# SPDX-License-Identifier: Apache-2.0
# Makes the manual pages of docs/: packaging/manpages.sh OUT. The folder OUT gets them.
set -euo pipefail
packaging=$(readlink -f "$(dirname "${BASH_SOURCE[0]}")")
docs=$packaging/../docs
out=${1:?name the folder that gets the pages}
version=$(sed -nE 's/^project\(.* VERSION ([0-9.]+) .*/\1/p' "$packaging/../CMakeLists.txt")
mkdir -p "$out"

# page PACKAGE NAME SECTION DOCUMENT ABOUT [--only HEADING] [SYNOPSIS...]
page() {
  local package=$1 name=$2 section=$3 document=$4 about=$5 metadata=()
  shift 5
  if [[ ${1-} == --only ]]; then
    metadata+=(--metadata="only:$2")
    shift 2
  fi
  for line in "$@"; do metadata+=(--metadata="synopsis:$line"); done
  pandoc --from=gfm --to=man --standalone --lua-filter="$packaging/manpages.lua" \
    --metadata="package:$package" --metadata="page:$name" --metadata="section:$section" \
    --metadata="about:$about" "${metadata[@]}" \
    --variable="header:cloudclient" --variable="footer:$name $version" \
    --output="$out/$name.$section" "$docs/$document"
}

page cloudclient cloudclient 8 host.md "connects an appliance to a cloud management service" \
  "cloudclient [--help | --version]"
page cloudclient cloudclientctl 8 cloudclientctl.md \
  "reads and changes what cloudclient works with" \
  "cloudclientctl [OPTION...] COMMAND [ARGUMENT...]"
page cloudclient cloudclient-config 5 host.md "the configuration of cloudclient" --only Files \
  "/etc/cloudclient/cloud.json" "/etc/cloudclient/sysinfo.json"
page cloudclient cloudclient-policy 5 policy.md \
  "what a site asks of cloudclient on an open network" \
  "/etc/cloudclient/policy.json"
page cloudclient cloudclient-device 5 device-model.md "the device that cloudclient manages" \
  "/etc/cloudclient/device.json"
page cloudclient cloudclient-cloudchassis 5 chassis.md "the document of a device's chassis" \
  "/var/local/orv/pldserver/0/.../cloudchassis.txt"
page cloudclient cloudclient-covpatchmap 5 patch-map.md "which point belongs to which resource" \
  "/var/local/orv/pldserver/0/.../covpatchmap.txt"
page cloudservice cloudservice 8 service.md "cloud management service for appliances" \
  "cloudservice [OPTION...]" "cloudservice [OPTION...] COMMAND [ARGUMENT...]"
page cloudservice cloudservice.conf 5 service.md "options of cloudservice" --only Options \
  "/etc/cloudservice/cloudservice.conf"
