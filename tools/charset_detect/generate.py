#!/usr/bin/env python3
"""Writes how common the characters of KS X 1001 and JIS X 0208 are, as classes of four bits for each cell.

usage: generate.py [--check]      --check writes nothing and fails when the file differs from what would be written

The lists of common characters are made by hand. Rows behind the last that is written have one class throughout: Hanja,
and the Kanji of level 2.
"""
import pathlib
import sys
import unicodedata

TARGET = pathlib.Path(__file__).resolve().parent.parent.parent / "source" / "text" / "charset" / "detection_data.cpp"

# The most common syllables of Korean, in three steps.
SYLLABLES = [
    "이다는에의을가를한하고지로기사자도들인그리나라아시어대정만스부수보제일전은해서으있것않니며면여",
    "게과관경공구국귀까남내네년누눈니당대던데동되된두드든들때라람래러런럼려력로루르른를름마말머며면명모무문물미민바"
    "반받발방배번법보본부분비사산상새생서선설성세소속손수술스습시식신실아안알았야양어었업에여역연였열영오와왔외요용우"
    "운울원위유으은음의이인일임입자작장재저적전점정제조종주중지진질집차참처천초추치크터통트평포표하학할함합해행향현형"
    "화환활회후히했없않잘못말길물밥집날밤꽃님",
    "각간갈감갑값강갖같개객갔거건걷걸검겁것겉겨격견결겸계곡곧골곳과곽광괴교군굳굴굵권궁그극근글금급긴깊깨꺼꼭꽃꾸꿈"
    "끄끌끝끼낌난낫낮낳낼냐냥너널넘넣녀녁념노녹논놀농높놓뇌느늘능늦늬닐님닥닦단닫달닭담답덕덜덤덮독돈돌돕동둑둘둥뒤들듣"
    "듯등디따딱딸땅때떠떡떤떨또똑뚜뛰뜨뜻띄락란랄랑랐량렀렁레렇렸령례록론롭료룡류륙률릅릇릉릎막많맑맛망맞맡매맥맨맹멀멈"
    "멋메멸몇목몰몸몽묘묵묶묻뭇뭐및밀밑박밖밝밟백뱃버벌범벗벼벽변별볍병볕복볼봄봉뵈북불붉붓붙브블빌빗빚빛빠빨빼뿌뿐뿔"
    "쁘삐삭살삼삶색샘석섞섬섭섯센셈셋셔션셨솔솜송솥쇠쇼순숙숨숭숲쉬쉽슬슴승싫심십싶싸쌀쌓써썩썼쏘쏟쑤쓰쓴쓸씀씨씩씻앉"
    "앓암압앗앙앞애액약얇얕얘언얹얻얼엄업엇엉엎에엔엣엮옆예옛온올옮옳옷옹완왕왜욕움웃워월웬웠윗육윤율융읍응읽잃잇잊잎잔"
    "잠잡잣재쟁저절젊접젓젖져졌조족존졸좀종좋좌죄죽준줄줌중쥐즉즐즘증짐집짓짖짚짜짝짧째쩌쪽쫓쭉쯤찌찍찢차착찬찰참창찾채"
    "책챙척철첩첫청체쳐촌총촉최축춘출춤충춰취측층친칠침칭카칸칼캐커컨컬컴켜코콩쿠크큰클큼키타탁탄탈탐탑태택턱털텅테텐토"
    "톱통퇴투트특튼틀틈티틱팀파판팔패퍼펴편펼평폐폭표푸풀품풍프플피필핑학항핵허헌헐험헤혀협혜호혹혼홀홍확황횡효훈훌훔휘휴"
    "흉흐흑흔흘흙흥희흰힘",
]

# The most common characters of Japanese, in two steps for each kind.
HIRAGANA = ["いうかがきくけこさしすたてでとなにのはまもらりるれをん", "あえおせそちつどねひふほみめやよろわっだばじゃょ"]
KATAKANA = ["ンスルトラリイクシアドレジタロカテフマッコ", "ーサデバニパナウキメグプムエオチツダビブモノセゴボソポギヤホミワザケガハヘペズヒュョェ"]
KANJI = [
    "日一大年中会人本月長国出上十生子分東三行同今高金時手見市力自前円合立内二事社者地京間田体学下目五後新明方部女八心"
    "四民対主正代言九小思七山実入回場野開万全定家北六問話文動度県水安氏和政保表道相意発不党何我無名花法権利有由平等物",
    "右雨王音火貝気休玉空犬口校左糸字耳車森青夕石赤千川先早草足村男竹虫町天土白百木林引羽雲園遠科夏歌画海絵外角楽活丸"
    "岩顔汽記帰弓牛魚強教近兄形計元原戸古午語工公広交光考黄谷黒才細作算止矢姉紙寺室弱首秋週春書少色食親図数西声星晴切"
    "雪船線組走多太台池知茶昼鳥朝直通弟店点電刀冬当答頭読南肉馬売買麦半番父風聞米歩母毎妹鳴毛門夜友用曜来里理悪暗医委"
    "育員院飲運泳駅央横屋温化荷界階寒感漢館岸起期客究急級宮球去橋業曲局銀区苦具君係軽血決研庫湖向幸港号根祭皿仕死使始"
    "指歯詩次持式写守取酒受州拾終習集住重宿所暑助昭消商章勝乗植申身神真深進世整昔送想息速族他打待第題炭短談着注柱丁帳"
    "調追庭笛鉄転都投豆島湯登童農波配倍箱畑反坂板皮悲美鼻筆氷秒病品負服福返勉放味命面役薬油遊予羊洋葉陽様落流旅両緑礼"
    "列練路愛以衣位囲印英栄加果課貨芽改械害各覚完官管関観願希季紀喜旗器機議求泣救給挙漁共協鏡競極訓軍郡型景芸欠結建健"
    "験固功好候航康告差菜最材昨刷殺察参産散残士史司試児治辞失借種周祝順初松笑唱焼象照賞臣信成省清静席積折節説浅戦選然"
    "争倉巣束側続卒孫帯隊達単置仲貯兆腸低底停的典伝徒努灯堂働特得毒熱念敗梅博飯飛費必票標付府副粉兵別辺変便包望牧末満"
    "未脈民約勇要養浴陸良料量輪類令冷例歴連老労録現在際経済認彼僕君吾猫私々尊厳等及其此之於乃云",
]

HEAD = """// How common characters of double-byte sets are, written by tools/charset_detect/generate.py: {size} bytes.
// clang-format off
#include "text/charset/detection_data.h"

namespace ombrel::detection {{
"""
TAIL = """
} // namespace ombrel::detection
"""

NONE, FIRST_PUNCTUATION, SYMBOL, WIDE_LATIN, OTHER = 0, 12, 13, 14, 15
PUNCTUATION = set("　、。，．・「」『』（）…“”‘’《》〈〉·？！―─々ー")


def step(character, steps, first):
    """The first step that has the character; behind them for none."""
    return first + next((at for at, known in enumerate(steps) if character in known), len(steps))


def general_class(character):
    if character in PUNCTUATION:
        return FIRST_PUNCTUATION
    if 0xFF01 <= ord(character) <= 0xFF5E:
        return WIDE_LATIN
    return OTHER if unicodedata.category(character).startswith("L") else SYMBOL


def korean_class(character):
    if 0xAC00 <= ord(character) <= 0xD7A3:
        return step(character, SYLLABLES, 1)
    if 0x3131 <= ord(character) <= 0x318E:
        return 5  # letters by themselves
    return general_class(character)


def japanese_class(character):
    code = ord(character)
    if character not in PUNCTUATION and 0x3041 <= code <= 0x3096:
        return step(character, HIRAGANA, 1)
    if character not in PUNCTUATION and 0x30A1 <= code <= 0x30F6:
        return step(character, KATAKANA, 4)
    if character not in PUNCTUATION and 0x4E00 <= code <= 0x9FFF:
        return step(character, KANJI, 7)
    return general_class(character)


def classes(codec, rows, class_of):
    """Two cells a byte, the first of them in its lower half."""
    cells = []
    for row in range(1, rows + 1):
        for cell in range(1, 95):
            try:
                cells.append(class_of(bytes((0xA0 + row, 0xA0 + cell)).decode(codec)))
            except UnicodeDecodeError:
                cells.append(NONE)
    return [low | high << 4 for low, high in zip(cells[::2], cells[1::2])]


def file_text():
    tables = (("korean_cells", classes("cp949", 41, korean_class)),
              ("japanese_cells", classes("euc_jp", 47, japanese_class)))
    lines = []
    for name, values in tables:
        lines.append(f"\nconst uint8_t {name}[{len(values)}] = {{")
        lines += ["    " + "".join(f"{value}," for value in values[at:at + 30]) for at in range(0, len(values), 30)]
        lines.append("};")
    return HEAD.format(size=sum(len(values) for _, values in tables)) + "\n".join(lines) + "\n" + TAIL


def main():
    if sys.argv[1:] == ["--check"]:
        if TARGET.read_text() != file_text():
            sys.exit(f"{TARGET.name} is not what would be written")
    elif sys.argv[1:]:
        sys.exit(__doc__)
    else:
        TARGET.write_text(file_text())


if __name__ == "__main__":
    main()
