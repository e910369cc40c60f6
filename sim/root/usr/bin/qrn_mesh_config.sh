#!/bin/sh
# qrn_mesh_config.sh: resynchronises the mesh.
. /usr/share/sim/journal.sh
journal "$@"
sim_maybe_fail
