#!/bin/sh
# qrn_mesh_config.sh: resynchronises the mesh.
# shellcheck source=../share/sim/journal.sh
. /usr/share/sim/journal.sh
journal "$@"
sim_maybe_fail
