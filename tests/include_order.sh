#!/usr/bin/env bash
# SPDX-License-Identifier: BSD-3-Clause
# Checks that the folders of src/pcbin_las/ include only themselves and the folders below them.
# Usage: include_order.sh SOURCE_DIR
set -euo pipefail
cd "$1/src/pcbin_las"

declare -A below=(
  [platform]=""
  [process]="platform"
  [output]="process platform"
  [laz]=""
  [las]="laz platform"
  [storage]="platform"
  [picture]="las laz output process platform"
  [export]="storage las laz process platform"
  [app]="export picture storage las laz output process platform"
)
failures=0
checked=0
while IFS=: read -r file included; do
  checked=$((checked + 1))
  folder=${file%%/*}
  [[ " $folder ${below[$folder]} " == *" $included "* ]] && continue
  echo "$file includes a header of $included/"
  failures=$((failures + 1))
done < <(grep -roE '^#include "pcbin_las/[a-z]+/' --include='*.h' --include='*.cpp' --include='*.in' . |
  sed -E 's|^\./||; s|#include "pcbin_las/||; s|/$||')
for folder in */; do
  [[ -v below[${folder%/}] ]] || { echo "unknown folder $folder"; failures=$((failures + 1)); }
done
((checked > 100 && failures == 0))
