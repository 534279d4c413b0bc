# Draws a platform's pictures of docs/performance.md from the tables that
# scripts/benchmark-library has written into the folder "figures"; their names
# begin with "pictures".
set terminal svg size 840,420 font "sans-serif,12" background "white"
set datafile separator "|"
set logscale xy
set grid
set key outside right top
set format x "10^{%T}"

clients = "'sd-bus, whole arrays' 'sd-bus, element by element' 'sdbus-c++' 'the library' 'GDBus'"

# The row of the first table that begins with a client's name, one column each line.
row(name) = sprintf("< awk -F ' *[|] *' 'NR == 1 { for (i = 3; i < NF; ++i) length_of[i] = $i } " \
  . "$2 == \"%s\" { for (i = 3; i < NF; ++i) print length_of[i] \"|\" $i; exit }' %s/round-trips.md", name, figures)

set output pictures . "-calls.svg"
set xlabel "code points"
set ylabel "median time of a call, microseconds"
plot for [client in clients] row(client) using ($1 > 0 ? $1 : NaN):2 with linespoints title client

parts = "'constructor 4' 'constructor 1, ASCII' 'constructor 1, mixed' 'unicodeBraillify' 'toString'"
part(name) = sprintf("< awk -F ' *[|] *' 'NR == 1 { for (i = 4; i < NF - 1; ++i) size[i] = $i + 0 } " \
  . "$2 == \"%s\" { for (i = 4; i < NF - 1; ++i) print size[i] \"|\" $i + 0; exit }' %s/pure-parts.md", name, figures)

set output pictures . "-pure-parts.svg"
set xlabel "code points or cells"
set ylabel "nanoseconds for each"
plot for [name in parts] part(name) using 1:2 with linespoints title name

searched(name) = sprintf("< awk -F ' *[|] *' 'NR == 1 { for (i = 4; i < NF - 1; ++i) { split($i, s, \"searched \"); size[i] = s[2] } } " \
  . "$2 == \"%s\" { for (i = 4; i < NF - 1; ++i) print size[i] \"|\" $i + 0; exit }' %s/pure-parts.md", name, figures)

set output pictures . "-search.svg"
unset logscale y
set xlabel "entries of the map"
set ylabel "nanoseconds a search"
plot searched("getOriginalPositionW") using 1:2 with linespoints title "getOriginalPositionW"
