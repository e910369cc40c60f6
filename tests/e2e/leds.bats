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

@test "a script that knows of dark LEDs is left to it" {
    rm "$state/etc/init.d/led"
    printf '#!/bin/sh\n# reads leds_off\n' >"$state/etc/init.d/led"
    chmod +x "$state/etc/init.d/led"
    qsc set Device.LEDs X_QRN_Enable=0 --apply
    same "$(leds brightness)" "255 255 255 "
}

@test "a device without LEDs has none" {
    rm -r "$state/sys/class/leds"
    same "$(qsc -q get Device.LEDs LEDNumberOfEntries X_QRN_Names | tr '\n' ';')" "0;;"
}
