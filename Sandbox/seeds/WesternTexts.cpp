#include "Sandbox/seeds/DemoTexts.h"

namespace quorvel::sandbox {
namespace {

constexpr DemoTexts westernTextTable[] = {
    {"en-US en-CA", "Mosswick: Garden Journal", "Plan beds, track every plant",
     "garden,plants,watering,planner,vegetables,seeds,journal,frost,compost,harvest",
     "Mosswick keeps your garden in order. Draw your beds, note what you sowed and when, "
     "and see at a glance what needs water today.\n\n• Frost warnings for your own garden\n"
     "• Photos of each plant through the seasons\n• Works without a connection, syncs when there is one\n\n"
     "No account, no ads.",
     "Spring is here: 60 new vegetables with sowing dates for your climate.",
     "• Harvest totals per bed and year\n• Photos import three times as fast\n"
     "• Fixed reminders that came a day late"},
    {"en-GB en-AU", "Mosswick: Garden Journal", "Plan beds, track every plant",
     "garden,plants,watering,planner,allotment,seeds,journal,frost,compost,harvest",
     "Mosswick keeps your allotment in order. Draw your beds, colour-code your crops, "
     "and see at a glance what needs water today.\n\n• Frost warnings for your own garden\n"
     "• Photos of each plant through the seasons\n"
     "• Works offline\n\nNo account, no adverts.",
     "New this season: sixty vegetables with sowing dates for your climate.",
     "• Harvest totals per bed and year\n• Photos import three times as fast\n"
     "• Fixed reminders that came a day late"},
    {"de-DE", "Mosswick: Gartentagebuch", "Beete planen, Pflanzen pflegen",
     "garten,pflanzen,gießen,beet,gemüse,aussaat,tagebuch,frost,kompost,ernte",
     "Mosswick bringt Ordnung in deinen Garten. Zeichne Beete, notiere jede Aussaat und sieh auf einen "
     "Blick, was heute Wasser braucht.\n\n• Frostwarnung für deinen Standort\n"
     "• Fotos jeder Pflanze im Jahreslauf\n• Läuft auch ohne Netz\n\nOhne Konto, ohne Werbung.",
     "Frühlingsupdate: 60 neue Gemüsesorten mit Aussaatkalender.",
     "• Erntemengen pro Beet und Jahr\n• Fotos werden dreimal so schnell übernommen\n"
     "• Erinnerungen kommen wieder pünktlich"},
    {"fr-FR fr-CA", "Mosswick : carnet de jardin", "Planifiez, semez, récoltez",
     "jardin,plantes,arrosage,potager,semis,journal,gel,compost,récolte,légumes",
     "Mosswick met de l’ordre au jardin. Dessinez vos planches, notez chaque semis et voyez d’un coup d’œil "
     "ce qu’il faut arroser.\n\n• Alertes de gel pour votre jardin\n"
     "• Photos de chaque plante au fil des saisons\n• Fonctionne hors ligne\n\nSans compte, sans publicité.",
     "Le printemps arrive : 60 légumes et leurs dates de semis.",
     "• Récoltes par planche et par année\n• Import des photos trois fois plus rapide\n"
     "• Les rappels arrivent enfin à l’heure"},
    {"es-ES", "Mosswick: diario de jardín", "Planifica, siembra y cosecha",
     "jardín,plantas,riego,huerto,semillas,diario,helada,compost,cosecha,verduras",
     "Mosswick pone orden en tu huerto. Dibuja los bancales, apunta cada siembra y mira de un vistazo qué "
     "hay que regar hoy.\n\n• Avisos de helada\n• Fotos de cada planta\n• Funciona sin conexión",
     "Ya es primavera: 60 hortalizas nuevas con sus fechas de siembra.",
     "• Cosechas por bancal y año\n• Las fotos se importan tres veces más rápido"},
    {"es-MX", "Mosswick: diario de jardín", "Planea, siembra y cosecha",
     "jardín,plantas,riego,huerta,semillas,diario,helada,composta,cosecha,verduras",
     "Mosswick pone en orden tu jardín. Dibuja tus camas de cultivo, "
     "anota cada siembra y ve qué toca regar hoy.\n\n• Alertas de helada\n• Fotos de cada planta\n"
     "• Funciona sin internet",
     "Llegó la primavera: 60 hortalizas nuevas con fechas de siembra.",
     "• Cosechas por cama y año\n• Importar fotos es tres veces más rápido"},
    {"it", "Mosswick: diario del giardino", "Aiuole, semine e raccolti",
     "giardino,piante,orto,semina,annaffiare,diario,gelo,compost,raccolto,verdure",
     "Mosswick tiene in ordine il giardino. Disegna le aiuole, annota le semine e scopri subito che cosa va "
     "annaffiato oggi.\n\n• Avvisi di gelo\n• Foto di ogni pianta\n• Funziona anche offline",
     "Primavera: 60 nuovi ortaggi con il calendario delle semine.",
     "• Raccolti per aiuola e per anno\n• Importazione delle foto tre volte più veloce"},
    {"pt-BR", "Mosswick: diário de jardim", "Planeje, plante e colha",
     "jardim,plantas,rega,horta,sementes,diário,geada,compostagem,colheita,verduras",
     "O Mosswick organiza sua horta. Desenhe os canteiros, anote cada plantio e veja o que precisa de água "
     "hoje.\n\n• Alertas de geada\n• Fotos de cada planta\n• Funciona sem internet",
     "Chegou a primavera: 60 novas hortaliças com datas de plantio.",
     "• Colheitas por canteiro e ano\n• Importação de fotos três vezes mais rápida"},
    {"pt-PT", "Mosswick: diário do jardim", "Planeie, semeie e colha",
     "jardim,plantas,rega,horta,sementes,diário,geada,composto,colheita,legumes",
     "O Mosswick põe a sua horta em ordem. Desenhe os talhões, registe cada sementeira e veja o que precisa "
     "de água hoje.\n\n• Avisos de geada\n• Fotografias de cada planta",
     "Já é primavera: 60 novos legumes com datas de sementeira.",
     "• Colheitas por talhão e ano\n• Importação de fotografias mais rápida"},
    {"nl-NL", "Mosswick: tuindagboek", "Bedden plannen, planten volgen",
     "tuin,planten,water geven,moestuin,zaaien,dagboek,vorst,compost,oogst,groente",
     "Mosswick houdt je tuin op orde. Teken je bedden, noteer wat je zaait en zie meteen wat vandaag water "
     "nodig heeft.\n\n• Vorstwaarschuwing\n• Foto’s door de seizoenen heen\n• Werkt zonder verbinding",
     "Voorjaar: 60 nieuwe groenten met zaaidata voor jouw klimaat.",
     "• Oogst per bed en jaar\n• Foto’s importeren gaat drie keer zo snel"},
    {"da", "Mosswick: havedagbog", "Planlæg bede, følg planterne",
     "have,planter,vanding,køkkenhave,frø,dagbog,frost,kompost,høst,grøntsager",
     "Mosswick holder styr på haven. Tegn dine bede, notér hvad du såede, "
     "og se hvad der skal vandes i dag.\n\n"
     "• Frostvarsler\n• Billeder af hver plante\n• Virker uden net",
     "Foråret er her: 60 nye grøntsager med sådatoer.",
     "• Høst pr. bed og år\n• Hurtigere import af billeder"},
    {"sv", "Mosswick: trädgårdsdagbok", "Planera bäddar, följ växter",
     "trädgård,växter,vattna,odling,frön,dagbok,frost,kompost,skörd,grönsaker",
     "Mosswick håller ordning på odlingen. Rita dina bäddar, skriv upp vad du sått och se vad som behöver "
     "vatten i dag.\n\n• Frostvarningar\n• Bilder på varje växt\n• Fungerar utan nät",
     "Våren är här: 60 nya grönsaker med sådatum.", "• Skörd per bädd och år\n• Snabbare bildimport"},
    {"no", "Mosswick: hagedagbok", "Planlegg bed, følg plantene",
     "hage,planter,vanning,kjøkkenhage,frø,dagbok,frost,kompost,innhøsting,grønnsaker",
     "Mosswick holder orden i hagen. Tegn bedene, noter hva du sådde, og se hva som trenger vann i dag.\n\n"
     "• Frostvarsler\n• Bilder av hver plante\n• Virker uten nett",
     "Våren er her: 60 nye grønnsaker med sådatoer.",
     "• Innhøsting per bed og år\n• Raskere import av bilder"},
    {"fi", "Mosswick: puutarhapäiväkirja", "Suunnittele ja seuraa kasveja",
     "puutarha,kasvit,kastelu,kasvimaa,siemenet,päiväkirja,halla,komposti,sato",
     "Mosswick pitää puutarhan järjestyksessä. Piirrä penkit, kirjaa kylvöt ja näe heti, "
     "mikä kaipaa vettä tänään.\n\n• Hallavaroitukset\n• Kuvat jokaisesta kasvista\n• Toimii ilman verkkoa",
     "Kevät on täällä: 60 uutta vihannesta kylvöaikoineen.",
     "• Sadot penkeittäin ja vuosittain\n• Nopeampi kuvien tuonti"},
    {"ca", "Mosswick: diari de jardí", "Planifica, sembra i cull",
     "jardí,plantes,reg,hort,llavors,diari,gelada,compost,collita,verdures",
     "El Mosswick posa ordre a l’hort. Dibuixa els bancals, apunta cada sembra i mira què cal regar "
     "avui.\n\n• Avisos de gelada\n• Fotos de cada planta",
     "Ja és primavera: 60 hortalisses noves.",
     "• Collites per bancal i any\n• Importació de fotos més ràpida"},
    {"ro", "Mosswick: jurnal de grădină", "Planifică și urmărește plante",
     "grădină,plante,udare,legume,semințe,jurnal,îngheț,compost,recoltă",
     "Mosswick îți ține grădina în ordine. Desenează straturile, notează fiecare semănat și vezi ce trebuie "
     "udat azi.\n\n• Avertizări de îngheț\n• Fotografii ale fiecărei plante",
     "A venit primăvara: 60 de legume noi.", "• Recolte pe strat și an\n• Import de fotografii mai rapid"},
};

} // namespace

std::span<const DemoTexts> westernTexts() {
    return westernTextTable;
}

} // namespace quorvel::sandbox
