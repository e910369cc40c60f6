#!/usr/bin/env bats
load device.bash

@test "a sent option reaches the DHCP client by set --apply" {
    qsc set Device.DHCPv4.Client.1.SentOption.1 Value=router Enable=1 --apply
    grep -q "option vendorid 'router'" "$state/etc/config/network"
    grep -q "option update '0'" "$state/etc/config/qrndhcpopts"
    same "$(journal)" "/etc/init.d/network restart"
    qsc set Device.DHCPv4.Client.1.SentOption.1 Enable=0 --apply
    run grep vendorid "$state/etc/config/network"
    same "$status" 1
}

@test "commit takes the packages it is told, service the action as given" {
    qsc batch <<'BATCH'
# what a front end sends, step by step
set Device.DHCPv4.Client.1.SentOption.1 'Value=it'\''s "it"' Enable=1
commit Device.DHCPv4.Client.1 qrndhcpopts network
service Device.DHCPv4.Client.1 "restart now"
BATCH
    same "$(device uci get network.wan.vendorid)" "it's \"it\""
    same "$(journal)" "/etc/init.d/network restart now"
    same "$(events)" "set DHCPv4 client sent option [1] value it's \\\"it\\\" by CLI
set DHCPv4 client sent option [1] enable 1 by CLI"
    run qsc batch <<<"set Device.DHCPv4.Client.1.SentOption.3 Enable=1
get version"
    same "$status" 1
    [[ $output == *"SentOption.3: "*"line 1 of the batch was the last" ]]
    run qsc batch <<<"get 'version"
    same "$output" "qsc: line 1 of the batch has an open quote, or more than 254 words"
}

@test "a list answers all its instances or one" {
    qsc set Device.DHCPv4.Client.1.SentOption.2 XQrnValueStr=id
    same "$(qsc get 'Device.DHCPv4.Client.1.SentOption.*')" "Device.DHCPv4.Client.1.SentOption.1.Tag          = 60
Device.DHCPv4.Client.1.SentOption.1.Value        = 
Device.DHCPv4.Client.1.SentOption.1.Enable       = 0
Device.DHCPv4.Client.1.SentOption.1.XQrnValueStr = 
Device.DHCPv4.Client.1.SentOption.2.Tag          = 61
Device.DHCPv4.Client.1.SentOption.2.Value        = 
Device.DHCPv4.Client.1.SentOption.2.Enable       = 0
Device.DHCPv4.Client.1.SentOption.2.XQrnValueStr = id"
    same "$(qsc get Device.DHCPv4.Client.1.SentOption.2 XQrnValueStr)" "XQrnValueStr = id"
    same "$(qsc get Device.DHCPv4.Client.1.X_QRN_RelaySentOption.1.Subcode.2 Subcode)" "Subcode = 1"
    same "$(qsc get Device.DHCPv4.Client.1 SentOptionNumberOfEntries)" "SentOptionNumberOfEntries = 2"
    for index in 0 3 4294967297; do
        run qsc get "Device.DHCPv4.Client.1.SentOption.$index"
        same "$status" 1
        [[ $output == "qsc: Device.DHCPv4.Client.1.SentOption.$index: "* ]]
    done
    for index in -1 1x; do
        run qsc get "Device.DHCPv4.Client.1.SentOption.$index"
        same "$status" 2
        run qsc request "Device.DHCPv4.Client.1.SentOption.$index" get <<<{}
        same "$status" 1
    done
}

@test "a list of requested options that cannot be read whole stays as it is" {
    long=$(printf '%02099d' 7)
    device uci set "network.wan.reqopts=$long"
    qsc set Device.DHCPv4.Client.1.ReqOption.1 Enable=1 # marked, for a commit in another process
    run qsc set Device.DHCPv4.Client.1.ReqOption.1 Value=x --apply
    same "$status" 1
    [[ $output == *"the list of requested options could not be read" ]]
    same "$(device uci get network.wan.reqopts)" "$long"
    device uci set "network.wan.reqopts=1 3"
    qsc set Device.DHCPv4.Client.1.ReqOption.1 Value=y --apply
    same "$(device uci get network.wan.reqopts)" "1 3 43"
}
