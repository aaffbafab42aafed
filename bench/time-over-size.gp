# Draws the time of load and walk over the size of the description, from the suite's figures:
#   gnuplot -e "data='time-over-size.csv'; plot='time-over-size.svg'" bench/time-over-size.gp
set terminal svg size 800,520 background "white"
set output plot
set datafile separator ","
set key autotitle columnhead top left
set logscale xy
set xlabel "size of the description in MB"
set ylabel "processor time of load and walk in ms"
set grid
plot for [column = 2:6] data using ($1 / 1e6):column with linespoints pointtype 7 \
    pointsize 0.5 linewidth (column == 2 ? 3 : 1)
