# Draws a flight record: a small picture in the terminal, and FILE.svg beside it.
#   vela fc log flight.ulg --csv flight.csv
#   gnuplot -e "record='flight.csv'" flight.gnuplot
set datafile separator ","
set key autotitle columnhead
set xlabel "s"

set terminal dumb size 100, 22
set title "height (m) over time"
plot record using "time_s":"height_m" every 40 with lines notitle

set terminal svg size 1000, 900 font "sans-serif,13" background "white"
set output record[1:strlen(record) - 4].".svg"
set grid
set multiplot layout 3, 1
set title "Height (m)"
plot record using "time_s":"height_cmd_m" every 10 with lines title "commanded", \
     record using "time_s":"height_m" every 10 with lines title "flown"
set title "Position (m)"
plot record using "time_s":"north_m" every 10 with lines title "north", \
     record using "time_s":"east_m" every 10 with lines title "east"
set title "Attitude (degrees)"
plot record using "time_s":"roll_deg" every 10 with lines title "roll", \
     record using "time_s":"pitch_deg" every 10 with lines title "pitch", \
     record using "time_s":"yaw_deg" every 10 with lines title "yaw"
unset multiplot
