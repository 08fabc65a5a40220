# Draws docs/line.svg from the flight of examples/motion-lists/lines.json:
#   vela fly examples/motion-lists/lines.json --log line.ulg
#   vela fc log line.ulg --csv line.csv
#   gnuplot -e "record='line.csv'" docs/line.gnuplot
set datafile separator ","
set terminal svg size 900,560 font "sans-serif,12" background "white"
set output "docs/line.svg"
begin = 4  # hover, then both lines
end = 23   # hover behind them
set multiplot layout 2,2
set grid linecolor rgb "#dddddd"
set key center right samplen 2
flown(c) = (column("time_s") > begin && column("time_s") < end ? c : NaN)
set xrange [begin:end]
set xlabel "s"
set title "speed, m/s"
plot record every 10 using "time_s":(flown(column("forward_cmd_m_s"))) with lines linewidth 2 linecolor rgb "#333333" dashtype 2 title "forward, asked", \
     "" every 10 using "time_s":(flown(column("forward_m_s"))) with lines linewidth 2 linecolor rgb "#0060a0" title "forward, flown", \
     "" every 10 using "time_s":(flown(column("right_m_s"))) with lines linewidth 1.5 linecolor rgb "#c06000" title "to the right, flown"
set title "climb, m/s, and height, m"
plot record every 10 using "time_s":(flown(column("climb_cmd_m_s"))) with lines linewidth 2 linecolor rgb "#333333" dashtype 2 title "climb, asked", \
     "" every 10 using "time_s":(flown(column("height_m"))) with lines linewidth 2 linecolor rgb "#0060a0" title "height"
set title "heading, degrees"
plot record every 10 using "time_s":(flown(column("yaw_deg"))) with lines linewidth 2 linecolor rgb "#0060a0" notitle
set autoscale x
set title "path, m: north over east"
set xlabel "east"
set size ratio -1
plot record every 10 using (flown(column("east_m"))):(flown(column("north_m"))) with lines linewidth 2 linecolor rgb "#0060a0" notitle
unset multiplot
