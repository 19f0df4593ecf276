# Plots soak.csv: gnuplot -e "csv='...'; svg='...'" soak.gnuplot

set datafile separator ","
set terminal svg size 900,760 font "sans-serif,12" background "white"
set output svg

# About 240 points keep the file small.
stats csv using 1 nooutput
every = ceil(STATS_records / 240.0)
minutes(seconds) = seconds / 60.0

set multiplot layout 4,1 margins 0.08,0.97,0.07,0.97 spacing 0,0.045
set grid ytics
set border 3
set xtics nomirror
set ytics nomirror
set xrange [0:minutes(STATS_max)]
set format x ""

set ylabel "MB"
set key left center
set yrange [0:*]
plot csv using (minutes($1)):($3 / 1024.0) every every with lines title "resident", \
     csv using (minutes($1)):($2 / 1024.0) every every with lines title "anonymous"

set ylabel "descriptors"
set key left bottom
plot csv using (minutes($1)):4 every every with steps title "open"

set ylabel "seconds"
set key left top
plot csv using (minutes($1)):5 every every with lines title "processor time"

set ylabel "count"
set xlabel "minutes"
set format x "%g"
plot csv using (minutes($1)):($6 / 1000.0) every every with lines title "events, in thousands", \
     csv using (minutes($1)):($7 / 10.0) every every with lines title "polls of an interface, in tens"
