#!/usr/bin/env bats
load device.bash

leds() { cat "$state"/sys/class/leds/*/"$1" | tr '\n' ' '; }

@test "all LEDs go dark and shine again" {
    same "$(qsc -q get Device.LEDs)" "3
1
green:lan,green:wan,red:power"
    qsc set Device.LEDs X_QRN_Enable=0 --apply
    same "$(leds trigger)$(leds brightness)" "none none none 0 0 0 "
    same "$(qsc -q get Device.LEDs X_QRN_Enable)" 0
    qsc set Device.LEDs X_QRN_Enable=1 --apply
    same "$(journal)" "/etc/init.d/led restart
/etc/init.d/led restart"
    same "$(events)" "set leds X_QRN_Enable 0 by CLI
set leds X_QRN_Enable 1 by CLI"
}
