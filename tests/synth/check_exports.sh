#!/usr/bin/env bash
# The library's dynamic symbol table holds the entry points and nothing else.
set -euo pipefail
lib=${1:?library}
want='Java_com_kavri_talvern_TalvernSynth
TalvernSynth
TalvernSynthW
TavnSynthSyn
_Z11write_synchP13extra_param_fPKc
_Z12Talvern_ImplPKcbS0_S0_S0_S0_Pv
_Z19ConvertToNMSVceFilePKcS0_i'
got=$(nm -D --defined-only "$lib" | awk '{print $3}' | LC_ALL=C sort)
if [ "$got" != "$want" ]; then
  diff <(echo "$want") <(echo "$got") || true
  exit 1
fi
soname=$(readelf -d "$lib" | sed -n 's/.*(SONAME).*\[\(.*\)\]/\1/p')
needed=$(readelf -d "$lib" | sed -n 's/.*(NEEDED).*\[\(.*\)\]/\1/p' | tr '\n' ' ')
[ "$soname" = libtavn.so ] || { echo "soname: $soname"; exit 1; }
case " $needed" in *" libkavritts.so "*) ;; *) echo "needed: $needed"; exit 1 ;; esac
echo "exports ok"
