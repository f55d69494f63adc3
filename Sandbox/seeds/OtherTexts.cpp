#include "Sandbox/seeds/DemoTexts.h"

namespace quorvel::sandbox {
namespace {

constexpr DemoTexts otherTextTable[] = {
    {"ja", "Mosswick 庭の記録帳", "花壇の計画と水やりをひと目で",
     "ガーデニング,植物,水やり,家庭菜園,種まき,日記,霜,堆肥,収穫,野菜",
     "Mosswickで庭仕事がすっきり。花壇を描き、種まきを記録すれば、今日水やりが必要な株がすぐわかります。\n\n"
     "・お住まいの場所の霜予報\n・季節ごとの写真\n・オフラインでも使えます\n\nアカウントも広告もありません。",
     "春の準備を。種まき時期つきの野菜を60種類追加しました。",
     "・花壇ごと、年ごとの収穫量\n・写真の読み込みが3倍速く\n・通知が1日遅れる問題を修正"},
    {"ko", "Mosswick 정원 일기", "화단 계획과 식물 관리를 한눈에",
     "정원,식물,물주기,텃밭,씨앗,일기,서리,퇴비,수확,채소",
     "Mosswick으로 정원을 가지런히. 화단을 그리고 파종을 적어 두면 오늘 물이 필요한 식물이 바로 "
     "보입니다.\n\n• 우리 동네 서리 알림\n• 계절별 식물 사진\n• 오프라인 사용 가능",
     "봄맞이: 파종 시기가 있는 채소 60종 추가.", "• 화단별·연도별 수확량\n• 사진 가져오기 3배 빠르게"},
    {"zh-Hans", "Mosswick 花园日记", "规划花坛，照料每株植物",
     "花园,植物,浇水,菜园,种子,日记,霜冻,堆肥,收获,蔬菜",
     "Mosswick 让花园井井有条。画出花坛，记下播种时间，一眼看出今天该给谁浇水。\n\n• 本地霜冻提醒\n"
     "• 四季照片记录\n• 离线可用\n\n"
     "无需账号，没有广告。",
     "春天来了：新增 60 种蔬菜及播种日期。", "• 按花坛和年份统计收成\n• 照片导入速度提升三倍"},
    {"zh-Hant", "Mosswick 花園日記", "規劃花圃，照顧每株植物",
     "花園,植物,澆水,菜園,種子,日記,霜凍,堆肥,收成,蔬菜",
     "Mosswick 讓花園井然有序。畫出花圃，記下播種時間，一眼看出今天該替誰澆水。\n\n• 在地霜凍提醒\n"
     "• 四季照片紀錄\n• 離線可用",
     "春天到了：新增 60 種蔬菜與播種日期。", "• 依花圃與年份統計收成\n• 照片匯入快三倍"},
    {"ar-SA", "موسويك: يوميات الحديقة", "خطّط للأحواض واعتنِ بكل نبتة",
     "حديقة,نباتات,ري,خضروات,بذور,يوميات,صقيع,سماد,حصاد",
     "يرتّب موسويك حديقتك. ارسم الأحواض، ودوّن مواعيد البذر، واعرف ما الذي يحتاج إلى الماء اليوم.\n\n"
     "• تنبيهات الصقيع\n• صور كل نبتة عبر الفصول\n• يعمل دون اتصال",
     "حلّ الربيع: ستون نوعًا جديدًا من الخضروات.", "• الحصاد لكل حوض وسنة\n• استيراد الصور أسرع"},
    {"he", "Mosswick: יומן גינה", "תכנון ערוגות ומעקב צמחים",
     "גינה,צמחים,השקיה,ירקות,זרעים,יומן,קרה,קומפוסט,קציר",
     "Mosswick עושה סדר בגינה. ציירו ערוגות, רשמו כל זריעה וראו מה צריך מים היום.\n\n• התראות קרה\n"
     "• תמונות של כל צמח\n• פועל גם ללא רשת",
     "האביב הגיע: 60 ירקות חדשים עם מועדי זריעה.", "• יבול לפי ערוגה ושנה\n• ייבוא תמונות מהיר יותר"},
    {"hi", "Mosswick: बगीचे की डायरी", "क्यारियाँ और हर पौधे की देखभाल",
     "बगीचा,पौधे,सिंचाई,सब्ज़ी,बीज,डायरी,पाला,खाद,फसल",
     "Mosswick आपके बगीचे को सहेजता है। क्यारियाँ बनाइए, बुआई लिखिए और देखिए कि आज किसे पानी चाहिए।\n\n"
     "• पाले की चेतावनी\n• हर पौधे की तस्वीरें\n• बिना इंटरनेट भी चलता है",
     "वसंत आ गया: बुआई की तारीखों के साथ 60 नई सब्ज़ियाँ।", "• हर क्यारी और साल की उपज\n• तस्वीरें जल्दी जुड़ती हैं"},
    {"th", "Mosswick: บันทึกสวน", "วางแผนแปลง ดูแลทุกต้น", "สวน,ต้นไม้,รดน้ำ,ผักสวนครัว,เมล็ด,บันทึก,ปุ๋ยหมัก,เก็บเกี่ยว",
     "Mosswick ช่วยให้สวนเป็นระเบียบ วาดแปลง จดวันหว่านเมล็ด แล้วดูได้ทันทีว่าวันนี้ต้นไหนต้องรดน้ำ\n\n"
     "• เตือนอากาศเย็นจัด\n• ภาพของทุกต้นตลอดฤดู",
     "ฤดูใหม่: เพิ่มผัก 60 ชนิดพร้อมวันหว่าน", "• ผลผลิตต่อแปลงและปี\n• นำเข้ารูปเร็วขึ้น"},
    {"vi", "Mosswick: nhật ký vườn", "Lên kế hoạch, chăm từng cây",
     "vườn,cây,tưới nước,rau,hạt giống,nhật ký,phân ủ,thu hoạch",
     "Mosswick giúp khu vườn ngăn nắp. Vẽ luống, ghi lại từng lần gieo và xem hôm nay cây nào cần nước.\n\n"
     "• Cảnh báo sương giá\n• Ảnh từng cây theo mùa",
     "Mùa xuân đến: thêm 60 loại rau kèm ngày gieo.", "• Sản lượng theo luống và năm\n• Nhập ảnh nhanh hơn"},
    {"id", "Mosswick: Jurnal Kebun", "Rencanakan bedeng, rawat semua",
     "kebun,tanaman,menyiram,sayuran,benih,jurnal,kompos,panen",
     "Mosswick merapikan kebun Anda. Gambar bedeng, catat setiap semai, "
     "dan lihat apa yang perlu disiram hari ini.\n\n• Peringatan cuaca dingin\n• Foto tiap tanaman",
     "Musim tanam: 60 sayuran baru dengan tanggal semai.",
     "• Panen per bedeng dan tahun\n• Impor foto lebih cepat"},
    {"ms", "Mosswick: Jurnal Kebun", "Rancang batas, jaga pokok",
     "kebun,pokok,siram,sayur,benih,jurnal,kompos,tuaian",
     "Mosswick mengemaskan kebun anda. Lukis batas, catat setiap semaian dan lihat apa yang perlu disiram "
     "hari ini.\n\n• Foto setiap pokok\n• Berfungsi tanpa talian",
     "Musim baharu: 60 sayur dengan tarikh semaian.",
     "• Hasil mengikut batas dan tahun\n• Import foto lebih pantas"},
    {"tr", "Mosswick: Bahçe Günlüğü", "Yastık planla, bitkiyi izle",
     "bahçe,bitki,sulama,sebze,tohum,günlük,don,kompost,hasat",
     "Mosswick bahçeni düzenli tutar. Yastıkları çiz, ekimleri not et, "
     "bugün neyin su istediğini hemen gör.\n\n• Don uyarıları\n• Her bitkinin fotoğrafları\n"
     "• Bağlantısız çalışır",
     "Bahar geldi: ekim tarihleriyle 60 yeni sebze.",
     "• Yastık ve yıl bazında hasat\n• Daha hızlı fotoğraf aktarımı"},
    {"ru", "Mosswick: дневник сада", "Грядки, посевы и полив",
     "сад,растения,полив,огород,семена,дневник,заморозки,компост,урожай",
     "Mosswick наводит порядок в саду. Нарисуйте грядки, записывайте посевы и сразу видите, "
     "что полить сегодня.\n\n• Предупреждения о заморозках\n• Фото каждого растения\n• Работает без сети",
     "Весна: 60 новых овощей с датами посева.", "• Урожай по грядкам и годам\n• Импорт фото втрое быстрее"},
    {"uk", "Mosswick: щоденник саду", "Грядки, посіви та полив",
     "сад,рослини,полив,город,насіння,щоденник,заморозки,компост,урожай",
     "Mosswick наводить лад у саду. Намалюйте грядки, записуйте посіви й одразу бачте, "
     "що полити сьогодні.\n\n• Попередження про заморозки\n• Фото кожної рослини",
     "Весна: 60 нових овочів із датами посіву.", "• Урожай за грядками й роками\n• Швидший імпорт фото"},
    {"pl", "Mosswick: dziennik ogrodu", "Planuj grządki, dbaj o rośliny",
     "ogród,rośliny,podlewanie,warzywa,nasiona,dziennik,mróz,kompost,zbiory",
     "Mosswick porządkuje ogród. Narysuj grządki, zapisuj siewy i od razu zobacz, co dziś podlać.\n\n"
     "• Ostrzeżenia o przymrozkach\n• Zdjęcia każdej rośliny\n• Działa bez sieci",
     "Wiosna: 60 nowych warzyw z terminami siewu.", "• Zbiory według grządek i lat\n• Szybszy import zdjęć"},
    {"cs", "Mosswick: zahradní deník", "Plánujte záhony a péči",
     "zahrada,rostliny,zalévání,zelenina,semena,deník,mráz,kompost,sklizeň",
     "Mosswick udrží zahradu v pořádku. Nakreslete záhony, zapište výsev a hned uvidíte, co dnes zalít.\n\n"
     "• Varování před mrazem\n• Fotky každé rostliny",
     "Jaro je tu: 60 nových druhů zeleniny.", "• Sklizeň podle záhonů a let\n• Rychlejší import fotek"},
    {"sk", "Mosswick: záhradný denník", "Plánujte záhony a opateru",
     "záhrada,rastliny,polievanie,zelenina,semená,denník,mráz,kompost,úroda",
     "Mosswick udrží záhradu v poriadku. Nakreslite záhony, zapíšte výsev a hneď uvidíte, "
     "čo dnes poliať.\n\n• Varovania pred mrazom\n• Fotky každej rastliny",
     "Jar je tu: 60 nových druhov zeleniny.", "• Úroda podľa záhonov a rokov\n• Rýchlejší import fotiek"},
    {"hu", "Mosswick: kertnapló", "Ágyások terve, növények gondja",
     "kert,növény,öntözés,veteményes,mag,napló,fagy,komposzt,termés",
     "A Mosswick rendben tartja a kertet. Rajzold meg az ágyásokat, jegyezd fel a vetést, és lásd, "
     "mit kell ma öntözni.\n\n• Fagyriasztás\n• Képek minden növényről",
     "Itt a tavasz: 60 új zöldség vetési naptárral.",
     "• Termés ágyásonként és évenként\n• Gyorsabb képimport"},
    {"hr", "Mosswick: vrtni dnevnik", "Planiraj gredice, prati biljke",
     "vrt,biljke,zalijevanje,povrće,sjeme,dnevnik,mraz,kompost,berba",
     "Mosswick drži vrt u redu. Nacrtaj gredice, zapiši sjetvu i odmah vidi što danas treba zaliti.\n\n"
     "• Upozorenja na mraz\n• Fotografije svake biljke",
     "Proljeće je tu: 60 novih vrsta povrća.", "• Berba po gredici i godini\n• Brži uvoz fotografija"},
    {"el", "Mosswick: ημερολόγιο κήπου", "Σχεδιάστε και φροντίστε",
     "κήπος,φυτά,πότισμα,λαχανικά,σπόροι,ημερολόγιο,παγετός,συγκομιδή",
     "Το Mosswick βάζει τάξη στον κήπο. Σχεδιάστε παρτέρια, σημειώστε κάθε σπορά και δείτε τι θέλει νερό "
     "σήμερα.\n\n• Ειδοποιήσεις παγετού\n• Φωτογραφίες κάθε φυτού",
     "Ήρθε η άνοιξη: 60 νέα λαχανικά.", "• Συγκομιδή ανά παρτέρι και έτος\n• Ταχύτερη εισαγωγή φωτογραφιών"},
    {"sl-SI", "Mosswick: vrtni dnevnik", "Načrtuj grede, spremljaj rast",
     "vrt,rastline,zalivanje,zelenjava,semena,dnevnik,pozeba,kompost,pridelek",
     "Mosswick poskrbi za red na vrtu. Nariši grede, zapiši setev in takoj vidi, "
     "kaj danes potrebuje vodo.\n\n• Opozorila pred pozebo\n• Fotografije vsake rastline",
     "Pomlad je tu: 60 novih vrst zelenjave.", "• Pridelek po gredah in letih\n• Hitrejši uvoz fotografij"},
};

} // namespace

std::span<const DemoTexts> otherTexts() {
    return otherTextTable;
}

} // namespace quorvel::sandbox
