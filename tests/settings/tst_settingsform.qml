import QtQuick
import QtQuick.Controls
import QtTest
import Vornex.Settings

// The form over real files, used as a person does.
Item {
    id: root

    height: 780
    width: 1100

    Component {
        id: layout

        SettingsLayout {
            anchors.fill: parent
        }
    }

    TestCase {
        name: "SettingsForm"
        when: windowShown

        property SettingsLayout form

        function open(ini: string, cfg: string) {
            form = createTemporaryObject(layout, root, { vm: rig.insert(ini, cfg) });
        }
        function all(type, item = form): list<Item> {
            const found = item.visible && item instanceof type ? [item] : [];
            return Array.from(item.children).reduce((list, child) => list.concat(all(type, child)), found);
        }
        function control(type, name: string): Item {
            return all(type).find(item => [item.name, item.title, item.text, item.placeholderText].includes(name));
        }
        function click(item: Item) {
            mouseClick(item, 5, item.height / 2);
        }
        /// The part of a row, or of a section, that takes the keys.
        function press(item: Item, keys) {
            const part = item instanceof LabeledSlider || item instanceof LabeledPicker ? item.children[item instanceof LabeledSlider ? 2 : 1] : item;
            part.forceActiveFocus(Qt.TabFocusReason);
            for (const key of keys)
                keyClick(key);
        }
        function save(): var {
            control(Button, "저장").clicked();
            return rig.savedLines();
        }

        function test_capabilitiesEnableTheirControls_data() {
            return [
                { tag: "all", ini: "x=1", disabled: [], voltages: 9, boxes: 9 },
                { tag: "no lane departure", ini: "use_ldws=0", disabled: ["차선이탈감지 기능"], voltages: 9, boxes: 9 },
                { tag: "no start alert", ini: "use_fvsa=0", disabled: ["앞차출발알림 기능"], voltages: 9, boxes: 9 },
                { tag: "no assistant", ini: "use_safe_drive=0", disabled: ["안전운전도우미"], voltages: 9, boxes: 9 },
                { tag: "no hybrid", ini: "use_hybrid=0", disabled: [], voltages: 5, boxes: 9 },
                { tag: "no secret mode", ini: "use_secret=0", disabled: [], voltages: 9, boxes: 8 }
            ];
        }
        function test_capabilitiesEnableTheirControls(row) {
            open(row.ini, "ldws=1\nfvsa=1\nsafe_drive=1\nlimit_volt=12000\nsecret_mode=1");
            const boxes = all(TickBox);
            compare(boxes.length, row.boxes);
            const disabled = boxes.filter(box => !box.enabled);
            compare(disabled.map(box => box.text), row.disabled);
            verify(!disabled.some(box => box.checked));
            verify(all(LabeledSlider).every(slider => slider.enabled));
            const voltage = control(LabeledPicker, "전압설정(V)").children[1];
            compare(voltage.count, row.voltages);
            compare(voltage.displayText, "12.0v / 24.0v");
            verify(save().includes("secret_mode=1")); // with its control or without
        }

        function test_eachControlChangesItsOwnLine() {
            open("x=1", ["volume", "limit_volt", "lcd_offtime", "rec_time"].map(key => key + "=0").join("\n"));
            let before = save();
            const does = (act, line) => {
                act();
                const after = save();
                compare(after.filter((other, i) => other !== before[i]), [line]);
                before = after;
            };
            const boxes = {
                "음성 녹음": "mic", "음성 안내": "voice_alarm", "효과음": "audio_effect", "차선이탈감지 기능": "ldws",
                "앞차출발알림 기능": "fvsa", "안전운전도우미": "safe_drive", "ADAS알림음": "adas_alarm", "시크릿 모드": "secret_mode"
            };
            for (const name in boxes)
                does(() => click(control(TickBox, name)), boxes[name] + "=1");
            const radios = [
                ["저장 공간 (%)", "mem_type", [["주행우선2", 1], ["이벤트우선", 2], ["주차우선", 3], ["주행우선", 0]]],
                ["주행모드 설정", "drive_type", [["타임랩스", 1], ["기본", 0]]],
                ["주차모드 설정", "parking_mode", [["모션인식", 1], ["타임랩스", 2], ["초절전", 3], ["사용안함(블랙박스 종료)", 0]]]
            ];
            for (const [group, key, options] of radios) {
                const buttons = Array.from(control(RadioButtonGroup, group).children);
                for (const [text, id] of options)
                    does(() => click(buttons.find(button => button.text === text)), key + "=" + id);
            }
            does(() => press(control(RadioButtonGroup, "주차모드 설정").children[3], [Qt.Key_Left]), "parking_mode=3");
            const sliders = { "시스템 볼륨": "volume=60", "이벤트 감도": "event_sens=1", "모션 감도": "motion_sens=1", "좌측": "ldws_l=1", "우측": "ldws_r=1" };
            for (const name in sliders)
                does(() => press(control(LabeledSlider, name), [Qt.Key_Right]), sliders[name]);
            does(() => control(LabeledSlider, "좌측").children[2].value = 3.7, "ldws_l=3"); // as a screen reader does
            const pickers = { "세계표준시(시간)": "gmt=1", "전압설정(V)": "limit_volt=11800", "LCD시간": "lcd_offtime=60", "녹화화질": "rec_qual=1", "녹화시간": "rec_time=2" };
            for (const name in pickers)
                does(() => press(control(LabeledPicker, name), [Qt.Key_Down]), pickers[name]);
            does(() => press(control(TextEntry, "SSID"), ["a", "="]), "wifi_ssid_1=a=");
            does(() => press(control(PasswordEntry, "암호"), ["b", "!"]), "wifi_sspw_1=b!");
        }

        readonly property var odd: ["mem_type=9", "event_sens=7", "ldws_l=-3", "ldws_r=4294967296", "drive_type=5", "parking_mode=4294967297", "rec_qual=2", "gmt=30"]

        function test_whatNoControlOffersIsShownAsNothingAndKept_data() {
            return [
                { tag: "as read", ini: "x=1", cfg: odd.join("\n"), isReset: false },
                { tag: "by a reset", ini: odd.join("\n"), cfg: odd.map(line => line.replace(/=.*/, "=1")).join("\n"), isReset: true }
            ];
        }
        function test_whatNoControlOffersIsShownAsNothingAndKept(row) {
            open(row.ini, row.cfg);
            if (row.isReset)
                control(Button, "설정 초기화").clicked();
            for (const name of ["세계표준시(시간)", "녹화화질"]) {
                compare(control(LabeledPicker, name).children[1].currentIndex, -1);
                compare(control(LabeledPicker, name).children[1].displayText, "");
            }
            compare(all(RadioButtonGroup).map(group => Array.from(group.children).filter(button => button.checked === true).length), [0, 0, 0]);
            compare(["이벤트 감도", "좌측", "우측"].map(name => control(LabeledSlider, name).children[2].value), [2, 0, 4]);
            compare(save().slice(1, 1 + odd.length), odd);
        }

        function test_dateAndTimeAreTypedAndStepped() {
            open("x=1", "sync_time=2020,01,02,03,04,05");
            const part = name => control(NumberPart, name);
            verify(!part("날짜 년").enabled && !part("시간 분").enabled);
            verify(!save().some(line => line.startsWith("sync_time")));
            click(control(TickBox, "PC 시간 동기화"));
            form.vm.changedDate = new Date(2023, 10, 30, 17, 9, 5);
            press(part("날짜 년"), ["2", "0", "2", "4"]);
            press(part("날짜 월"), ["1"]);
            press(part("날짜 일"), ["3", "1"]);
            press(part("날짜 월"), ["0", "2"]); // the day follows: it has 29
            press(part("시간 시"), ["0", Qt.Key_Down]); // round
            press(part("시간 분"), ["9", "9", Qt.Key_Tab]); // no such minute: the last that made sense stays
            compare(["날짜 일", "시간 시", "시간 분"].map(name => part(name).text), ["29", "23", "09"]);
            verify(save().includes("sync_time=2024,02,29,23,09,05"));
            press(part("날짜 일"), [Qt.Key_Up]); // from the last day to the first
            verify(save().includes("sync_time=2024,02,01,23,09,05"));
            const arrows = all(Stepper);
            click(arrows[0].children[1]); // of the part that was last touched
            click(arrows[1].children[0]);
            verify(save().includes("sync_time=2024,02,29,23,10,05"));
        }

        function test_barsGlideToTheChosenSplit() {
            open("x=1", "mem_type=0");
            const bars = all(ProgressRow);
            const percents = () => bars.map(bar => bar.value).join(" ");
            compare(percents(), "0 0 0 0"); // from nothing, and not at once
            tryVerify(() => percents() === "50 25 20 5");
            compare(bars.map(bar => bar.percentText), ["50%", "25%", "20%", "5%"]);
            const splits = ["70 20 5 5", "30 20 45 5", "30 45 20 5"];
            for (let i = 0; i < splits.length; ++i) {
                const last = percents();
                form.vm.storagePriority = i + 1;
                compare(percents(), last);
                tryVerify(() => percents() === splits[i]);
            }
            form.vm.storagePriority = 4; // there is no such split
            compare(percents(), splits[2]);
            control(Button, "설정 초기화").clicked();
            tryVerify(() => percents() === "50 25 20 5");
        }
    }
}
