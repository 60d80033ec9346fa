# The plots of docs/, from the data that the benchmark has written: gnuplot -e "data='...'; pictures='...'" plots.gp
set terminal svg size 640,400 font "Helvetica,13" background rgb "white"
set encoding utf8
set grid xtics ytics linecolor rgb "#dddddd"
set border 3
set tics nomirror
set key top left reverse Left
set style data linespoints
set linetype 1 linecolor rgb "#888888" linewidth 2 pointtype 7 pointsize 0.5
set linetype 2 linecolor rgb "#0060ad" linewidth 2 pointtype 7 pointsize 0.5
set linetype 3 linecolor rgb "#dd5522" linewidth 2 pointtype 7 pointsize 0.5
set linetype 4 linecolor rgb "#0060ad" linewidth 2 pointtype 6 pointsize 0.6 dashtype 2

set output pictures."/growth-size.svg"
set title "SHA-256 of one array"
set logscale xy
set xlabel "bytes"
set ylabel "µs"
set xtics ("16" 16, "64" 64, "256" 256, "1 Ki" 1024, "4 Ki" 4096, "16 Ki" 16384, "64 Ki" 65536, "256 Ki" 262144, \
    "1 Mi" 1048576, "4 Mi" 4194304)
set format y "%g"
plot data."/size.dat" using 1:($2/1e3) title "bare", "" using 1:($3/1e3) title "bridge", \
    "" using 1:($4/1e3) title "JDK's provider"

set output pictures."/growth-template.svg"
set title "A search that finds nothing, by the entries of its template"
unset logscale
set xtics (1, 8, 16, 24, 32, 40, 48, 56, 64)
set xlabel "entries"
set yrange [0:*]
plot data."/template.dat" using 1:($2/1e3) title "bare", "" using 1:($3/1e3) title "bridge"

set output pictures."/growth-objects.svg"
set title "A search, by the objects that it finds"
set xtics 0,256,1024
set xlabel "objects"
plot data."/objects.dat" using 1:($2/1e3) title "bare", "" using 1:($3/1e3) title "bridge"

set output pictures."/growth-threads.svg"
set title "SHA-256 of 64 bytes, by threads with a session each"
set xtics 1,1,8
set xlabel "threads"
set ylabel "thousand operations per second"
set yrange [0:*]
set key below horizontal
plot data."/threads.dat" using 1:($1*1e6/$2) title "bare", "" using 1:($1*1e6/$3) title "bridge", \
    "" using 1:($1*1e6/$4) title "JDK's provider", "" using 1:($1*1e6/$5) title "bridge with its lock"
