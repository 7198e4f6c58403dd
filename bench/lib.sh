# Shared preparation of the benchmark scripts (sourced from the project root).
# bench_prepare BUILD TOOL...: installs the missing comparison tools (and /usr/bin/time), the
# test servers and, with BUILD=1, builds; sets QFTP (override with the environment).
bench_prepare() {
  local build=$1; shift
  local need=() tool
  for tool in "$@"; do command -v "$tool" >/dev/null || need+=("$tool"); done
  [ -x /usr/bin/time ] || need+=(time)
  if [ ${#need[@]} -gt 0 ]; then apt-get update -qq && apt-get install -y -qq "${need[@]}" >/dev/null; fi
  tests/fixtures/install.sh
  [ "$build" = 1 ] && ./run build >/dev/null
  QFTP=${QFTP:-$PWD/build/tools/qftp/qftp}
}
