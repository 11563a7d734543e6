# The folder that a run of the virtual device shares with it; sourced in the repository's folder.

# Makes a folder for one run and sets $folder to it. It belongs to this process, and to what the
# process starts, as long as they last. It stays for whoever wants to look at it, until the
# next run of that name finds that nobody holds it.
# Usage: new_run_folder NAME
new_run_folder() {
  local runs=build/virtual-device/runs older
  mkdir -p "$runs"
  exec 8>"$runs/lock"
  flock 8
  for older in "$runs/$1".*; do
    [ ! -d "$older" ] || (flock --nonblock 9 && rm -rf "$older") 9<"$older" || true
  done
  folder=$(realpath "$(mktemp -d "$runs/$1.XXXXXX")")
  exec 9<"$folder"
  flock 9
  exec 8>&-
}
