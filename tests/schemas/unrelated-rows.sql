-- Rows of other programs, which Tamsel must leave as they are.
INSERT INTO Tb_ProductInfoV2
    (ProdID, ProdName, DisplayName, FamilyName, ProdVersion, PCDEntryName, AppPath, LocaleInfo, SuiteID)
VALUES
    ('12', 'Another', 'Another 12', 'Another', '1.0.0', 'another-1.0', '/Applications/Another', 'de_DE', '3'),
    ('1860', 'Ein längerer', 'It''s $another', '', '15.0.0', '', '', 'en_US', '7');
INSERT INTO Tb_XManConfig (ProdID, KeyName, KeyValue)
VALUES
    ('12', '$iconpath', '$installFolder/Another.png'),
    ('12', '$installfolder', '/Applications/Another'),
    ('12', 'bit', '32'),
    ('1860', 'suite', '');
